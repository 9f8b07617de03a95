#pragma once

#include <QString>

#include <exception>

namespace fetra {

/// What kept a request from getting its whole answer. `description` is a sentence a user can read.
class TransportError final : public std::exception {
public:
    enum Code : int {
        cancelled = -999,
        badURL = -1000,
        timedOut = -1001,
        cannotFindHost = -1003,
        cannotConnect = -1004,
        connectionLost = -1005,
        tooManyRedirects = -1007,
        badResponse = -1011,
        badHeader = -1012,
        secureConnectionFailed = -1200,
    };

    TransportError(int code, const QString& description)
        : code_(code)
        , description_(description)
        , text_(description.toUtf8()) {}

    [[nodiscard]] int code() const { return code_; }
    [[nodiscard]] const QString& description() const { return description_; }
    [[nodiscard]] const char* what() const noexcept override { return text_.constData(); }

private:
    int code_;
    QString description_;
    QByteArray text_;
};

} // namespace fetra
