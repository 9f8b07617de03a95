#include "transfer/Checksum.h"

#include "system/PosixError.h"
#include "system/PosixFile.h"
#include "transfer/DownloadError.h"

#include <QByteArray>

#include <array>
#include <cerrno>
#include <memory>

#include <fcntl.h>
#include <openssl/evp.h>
#include <unistd.h>

namespace fetra::Checksum {

using namespace Qt::StringLiterals;

namespace {

constexpr size_t chunkSize = 8'388'608;

void require(int result) {
    if (result != 1)
        throw DownloadError::io(u"cannot compute SHA-256"_s);
}

} // namespace

QString sha256(const QString& path) {
    const PosixFile::Descriptor file = PosixFile::open(path, O_RDONLY);
    if (!file.isOpen())
        throw DownloadError::io(u"cannot open "_s + path);
    ::posix_fadvise(file.number(), 0, 0, POSIX_FADV_SEQUENTIAL);

    const std::unique_ptr<EVP_MD_CTX, decltype(&EVP_MD_CTX_free)> context(EVP_MD_CTX_new(), &EVP_MD_CTX_free);
    require(EVP_DigestInit_ex(context.get(), EVP_sha256(), nullptr));
    const auto chunk = std::make_unique_for_overwrite<char[]>(chunkSize);
    for (;;) {
        const ssize_t count = ::read(file.number(), chunk.get(), chunkSize);
        if (count < 0 && errno == EINTR)
            continue;
        if (count < 0)
            throw PosixError::last();
        if (count == 0)
            break;
        require(EVP_DigestUpdate(context.get(), chunk.get(), static_cast<size_t>(count)));
    }
    std::array<unsigned char, EVP_MAX_MD_SIZE> digest{};
    unsigned int length = 0;
    require(EVP_DigestFinal_ex(context.get(), digest.data(), &length));
    return QString::fromLatin1(
        QByteArray::fromRawData(reinterpret_cast<const char*>(digest.data()), static_cast<int>(length))
            .toHex());
}

} // namespace fetra::Checksum
