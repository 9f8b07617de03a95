#pragma once

#include <QString>

#include <cstdint>
#include <cstdio>
#include <cstdlib>

namespace fetra::fuzz {

/// Unlike assert it also holds in optimised builds.
inline void check(bool condition, const char* what) {
    if (condition)
        return;
    std::fprintf(stderr, "check failed: %s\n", what);
    std::abort();
}

/// The input as a header value is read: UTF-8, or Latin-1 where it is not that.
inline QString headerText(const uint8_t* data, size_t size) {
    const QByteArrayView bytes(data, static_cast<qsizetype>(size));
    return bytes.isValidUtf8() ? QString::fromUtf8(bytes) : QString::fromLatin1(bytes);
}

} // namespace fetra::fuzz
