#include "system/PosixError.h"

#include <cerrno>
#include <cstring>
#include <system_error>

namespace fetra {

namespace {

int known(int code) {
    return code > 0 && ::strerrorname_np(code) != nullptr ? code : EIO;
}

} // namespace

PosixError::PosixError(int code)
    : code_(known(code))
    , text_(QByteArray::fromStdString(std::generic_category().message(code_))) {}

PosixError PosixError::last() {
    return PosixError(errno);
}

QString PosixError::description() const {
    return QString::fromLocal8Bit(text_);
}

} // namespace fetra
