#include "model/ModelWorld.h"

namespace fetra {
namespace {

using namespace Qt::StringLiterals;

class AddLinkTest : public test::ModelWorld {
protected:
    /// What there is, and what went wrong.
    [[nodiscard]] QString outcome() {
        QStringList urls;
        for (const Item& item : manager().items())
            urls.append(item->url().toString(QUrl::FullyEncoded));
        return urls.join(u' ') + error();
    }
};

TEST_F(AddLinkTest, AddsAndSelectsWhatALinkHoldsOrSaysWhatIsWrongWithIt) {
    const QString unsupported = u"This link is not a supported Fetra add link."_s;
    const QString empty = u"The add link contains no valid HTTP, HTTPS, or magnet links."_s;
    const QString hash = u"xt=urn:btih:0123456789abcdef0123456789abcdef01234567"_s;
    const QString magnet = u"magnet:?"_s + hash;
    const QString encodedMagnet = QString::fromLatin1(QUrl::toPercentEncoding(magnet));
    const QString link = u"http://h.example/a"_s;
    const QString encoded = u"http%3A%2F%2Fh.example%2Fa"_s;
    const auto most = QStringList(AppModel::maxAddLinkCount, encoded).join(u"%20"_s);
    QString tooMany;
    for (qsizetype index = 0; index <= AppModel::maxAddLinkCount; ++index)
        tooMany += encoded + QString::number(index) + u"%20"_s;
    const std::pair<QString, QString> cases[] = {
        {magnet, magnet},
        {u"fetra://add?url=https%3A%2F%2Fh.example%2Fa%3Fb%3D1%26c%3D2"_s, u"https://h.example/a?b=1&c=2"_s},
        {u"FETRA://ADD/any/path?note=x&url="_s + encoded, link},
        {u"fetra://add?url="_s + encoded + u"&url="_s + encodedMagnet, magnet + u' ' + link},
        {u"fetra://add?url="_s + most, link},
        {u"fetra://add?url="_s + tooMany, u"The add link contains more than 1000 links."_s},
        {u"fetra://add?url=some%20words"_s, empty},
        {u"fetra://add?url=ftp%3A%2F%2Fh.example%2Fa"_s, empty},
        {u"fetra://add"_s, empty},
        {u"fetra://remove?url="_s + encoded, unsupported},
        {u"fetra://[broken"_s, unsupported},
        {u"file:///tmp/a.zip"_s, unsupported},
        {u"file:///tmp/a.torrent"_s, u"file:///tmp/a.torrent"_s},
        {magnet + QString(AppModel::maxAddLinkLength, u'a'), unsupported},
    };
    for (const auto& [url, expected] : cases) {
        SCOPED_TRACE(url.left(100).toStdString());
        startModel();
        manager().remove(manager().items(), false);
        model().setFilter(DownloadFilter::failed);
        model().handleURL(QUrl(url));
        EXPECT_EQ(outcome(), expected);
        EXPECT_EQ(model().selection(), ids(manager().items()));
        EXPECT_EQ(model().filter() == DownloadFilter::all, !manager().items().isEmpty());
    }
}

TEST_F(AddLinkTest, WakingTakesInWhatLiesInTheInbox) {
    inboxes = {file(u"inbox"_s)};
    startModel();
    // Behind the back of the watcher, which hears of files from the event loop.
    folder.write(u"inbox/1.fetrajob"_s, R"({"url":"http://host.example/captured"})");
    model().handleURL(QUrl(u"fetra://Wake"_s));
    EXPECT_EQ(outcome(), u"http://host.example/captured"_s);
}

} // namespace
} // namespace fetra
