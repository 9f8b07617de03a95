#include "support/ServerFile.h"

#include <QRandomGenerator>

namespace fetra::test {

QByteArray testContent(qint64 size, quint64 seed) {
    QByteArray content((size + 3) / 4 * 4, Qt::Uninitialized);
    QRandomGenerator random(static_cast<quint32>(seed));
    random.fillRange(reinterpret_cast<quint32*>(content.data()), content.size() / 4);
    content.truncate(size);
    return content;
}

QByteArray withDamage(QByteArray content, qint64 offset) {
    content[offset] = static_cast<char>(~content[offset]);
    return content;
}

} // namespace fetra::test
