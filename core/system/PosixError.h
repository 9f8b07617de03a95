#pragma once

#include <QString>

#include <exception>

namespace fetra {

/// A failed system call: the C `errno` value and the system's text for it.
class PosixError final : public std::exception {
public:
    /// A `code` that is not a known errno value is kept as EIO.
    explicit PosixError(int code);

    /// The error that `errno` holds now.
    [[nodiscard]] static PosixError last();

    [[nodiscard]] int code() const { return code_; }
    /// The system's sentence, for example "No space left on device".
    [[nodiscard]] QString description() const;
    [[nodiscard]] const char* what() const noexcept override { return text_.constData(); }

private:
    int code_;
    QByteArray text_;
};

} // namespace fetra
