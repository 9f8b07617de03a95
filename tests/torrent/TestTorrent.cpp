#include "TestTorrent.h"

#include <QCryptographicHash>

namespace fetra::test {

using namespace Qt::StringLiterals;

namespace {

constexpr qsizetype pieceLength = 32'768;

QByteArray text(const QByteArray& bytes) {
    return QByteArray::number(bytes.size()) + ':' + bytes;
}

QByteArray number(qint64 value) {
    return 'i' + QByteArray::number(value) + 'e';
}

QByteArray list(const QByteArrayList& words) {
    QByteArray all = "l";
    for (const QByteArray& word : words)
        all += text(word);
    return all + 'e';
}

QByteArray pieces(const QByteArray& content) {
    QByteArray hashes;
    for (qsizetype begin = 0; begin < content.size(); begin += pieceLength)
        hashes += QCryptographicHash::hash(content.mid(begin, pieceLength), QCryptographicHash::Sha1);
    return text(hashes);
}

QByteArray fileEntry(const TestTorrent::File& file) {
    const QByteArray head = file.linkTo.isEmpty() ? "d" : "d4:attr1:l";
    const QByteArray tail = file.linkTo.isEmpty() ? "e" : "12:symlink path" + list(file.linkTo) + 'e';
    return head + "6:length" + number(file.content.size()) + "4:path" + list(file.path) + tail;
}

} // namespace

QByteArray TestTorrent::info() const {
    QByteArray all = content;
    QByteArray what = "6:length" + number(content.size());
    if (!files.isEmpty()) {
        all.clear();
        what = "5:filesl";
        for (const File& file : files) {
            all += file.content;
            what += fileEntry(file);
        }
        what += 'e';
    }
    return 'd' + what + "4:name" + text(name) + "12:piece length" + number(pieceLength) + "6:pieces" +
           pieces(all) + 'e';
}

QByteArray TestTorrent::bytes() const {
    QByteArray result = "d";
    if (!tracker.isEmpty())
        result += "8:announce" + text(tracker.toEncoded());
    result += "4:info" + info();
    if (!webSeed.isEmpty())
        result += "8:url-list" + text(webSeed.toEncoded());
    return result + 'e';
}

QUrl TestTorrent::magnet(const QList<quint16>& peers) const {
    const QByteArray hash = QCryptographicHash::hash(info(), QCryptographicHash::Sha1).toHex();
    QString link = u"magnet:?xt=urn:btih:"_s + QString::fromLatin1(hash);
    for (const quint16 port : peers)
        link += u"&x.pe=127.0.0.1:%1"_s.arg(port);
    return QUrl(link);
}

} // namespace fetra::test
