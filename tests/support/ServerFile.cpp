#include "support/ServerFile.h"

#include <algorithm>
#include <array>
#include <cstring>

namespace fetra::test {

namespace {

quint32 crc32(QByteArrayView bytes) {
    static const auto table = [] {
        std::array<quint32, 256> entries{};
        for (quint32 index = 0; index < 256; ++index) {
            quint32 value = index;
            for (int bit = 0; bit < 8; ++bit)
                value = (value >> 1) ^ ((value & 1) != 0 ? 0xEDB88320U : 0U);
            entries[index] = value;
        }
        return entries;
    }();
    quint32 crc = 0xFFFFFFFFU;
    for (const char byte : bytes)
        crc = table[(crc ^ static_cast<quint8>(byte)) & 0xFF] ^ (crc >> 8);
    return ~crc;
}

QByteArray littleEndian(quint32 value) {
    QByteArray bytes(4, '\0');
    for (int index = 0; index < 4; ++index)
        bytes[index] = static_cast<char>(value >> (8 * index));
    return bytes;
}

} // namespace

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

QByteArray gzipped(QByteArrayView bytes) {
    // qCompress gives a length of four bytes, a zlib header of two, deflate data and a checksum of four.
    const QByteArray zlib = qCompress(reinterpret_cast<const uchar*>(bytes.data()), bytes.size());
    const QByteArray deflated =
        bytes.isEmpty() ? QByteArray("\x03\x00", 2) : zlib.sliced(6, zlib.size() - 10);
    return QByteArray("\x1F\x8B\x08\x00\x00\x00\x00\x00\x00\x03", 10) + deflated +
           littleEndian(crc32(bytes)) + littleEndian(static_cast<quint32>(bytes.size()));
}

ServerFile ServerFile::withETag(QByteArray value) const {
    ServerFile copy = *this;
    copy.etag = std::move(value);
    return copy;
}

ServerFile ServerFile::withoutValidators() const {
    ServerFile copy = withETag({});
    copy.lastModified.clear();
    return copy;
}

} // namespace fetra::test
