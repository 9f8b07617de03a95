#pragma once

#include <QString>

#include <exception>
#include <variant>

namespace fetra {

/// What ended a transfer. `errorDescription` is the message the user sees.
class DownloadError final : public std::exception {
public:
    struct BadStatus {
        qint64 code;
        bool operator==(const BadStatus&) const = default;
    };
    struct ExhaustedRetries {
        QString reason;
        bool operator==(const ExhaustedRetries&) const = default;
    };
    struct SizeMismatch {
        qint64 expected;
        qint64 actual;
        bool operator==(const SizeMismatch&) const = default;
    };
    struct ChecksumMismatch {
        QString expected;
        QString actual;
        bool operator==(const ChecksumMismatch&) const = default;
    };
    struct Io {
        QString message;
        bool operator==(const Io&) const = default;
    };
    struct NotHTTP {
        bool operator==(const NotHTTP&) const = default;
    };
    /// A stopped transfer ends with this one; it is no failure.
    struct Cancelled {
        bool operator==(const Cancelled&) const = default;
    };
    struct RangeNotHonored {
        bool operator==(const RangeNotHonored&) const = default;
    };
    using Case = std::variant<BadStatus, ExhaustedRetries, SizeMismatch, ChecksumMismatch, Io, NotHTTP,
                              Cancelled, RangeNotHonored>;

    [[nodiscard]] static DownloadError badStatus(qint64 code) { return DownloadError(BadStatus{code}); }
    [[nodiscard]] static DownloadError exhaustedRetries(const QString& reason) {
        return DownloadError(ExhaustedRetries{reason});
    }
    [[nodiscard]] static DownloadError sizeMismatch(qint64 expected, qint64 actual) {
        return DownloadError(SizeMismatch{expected, actual});
    }
    [[nodiscard]] static DownloadError checksumMismatch(const QString& expected, const QString& actual) {
        return DownloadError(ChecksumMismatch{expected, actual});
    }
    [[nodiscard]] static DownloadError io(const QString& message) { return DownloadError(Io{message}); }
    [[nodiscard]] static DownloadError notHTTP() { return DownloadError(NotHTTP{}); }
    [[nodiscard]] static DownloadError cancelled() { return DownloadError(Cancelled{}); }
    [[nodiscard]] static DownloadError rangeNotHonored() { return DownloadError(RangeNotHonored{}); }

    [[nodiscard]] const Case& value() const { return value_; }
    template <typename T>
    [[nodiscard]] bool is() const {
        return std::holds_alternative<T>(value_);
    }

    [[nodiscard]] QString errorDescription() const;
    [[nodiscard]] const char* what() const noexcept override { return text_.constData(); }

    bool operator==(const DownloadError& other) const { return value_ == other.value_; }

private:
    explicit DownloadError(Case value);

    Case value_;
    QByteArray text_;
};

} // namespace fetra
