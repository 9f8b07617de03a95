#include "support/ServerFile.h"

#include <algorithm>
#include <cstring>

namespace fetra::test {

QByteArray testContent(qint64 size, quint64 seed) {
    QByteArray content(size, Qt::Uninitialized);
    char* out = content.data();
    quint64 state = seed * 0x9E3779B97F4A7C15ULL;
    for (qint64 offset = 0; offset < size; offset += 8) {
        state += 0x9E3779B97F4A7C15ULL;
        quint64 word = state;
        word = (word ^ (word >> 30)) * 0xBF58476D1CE4E5B9ULL;
        word = (word ^ (word >> 27)) * 0x94D049BB133111EBULL;
        word ^= word >> 31;
        std::memcpy(out + offset, &word, static_cast<std::size_t>(std::min<qint64>(8, size - offset)));
    }
    return content;
}

QByteArray withDamage(QByteArray content, qint64 offset, qint64 length) {
    const qint64 end = std::min<qint64>(content.size(), offset + length);
    for (qint64 index = offset; index < end; ++index)
        content[index] = static_cast<char>(~content[index]);
    return content;
}

} // namespace fetra::test
