#include "transfer/DownloadError.h"

#include <utility>

namespace fetra {

using namespace Qt::StringLiterals;

namespace {

struct Description {
    QString operator()(const DownloadError::BadStatus& error) const {
        return u"Server returned HTTP "_s + QString::number(error.code);
    }
    QString operator()(const DownloadError::ExhaustedRetries& error) const {
        return u"Gave up after repeated failures: "_s + error.reason;
    }
    QString operator()(const DownloadError::SizeMismatch& error) const {
        return u"Size mismatch: expected "_s + QString::number(error.expected) + u" bytes, got "_s +
               QString::number(error.actual);
    }
    QString operator()(const DownloadError::ChecksumMismatch& error) const {
        return u"SHA-256 mismatch: expected "_s + error.expected + u", got "_s + error.actual;
    }
    QString operator()(const DownloadError::Io& error) const { return u"Disk error: "_s + error.message; }
    QString operator()(const DownloadError::NotHTTP&) const {
        return u"Server did not return an HTTP response"_s;
    }
    QString operator()(const DownloadError::Cancelled&) const { return u"Download paused"_s; }
    QString operator()(const DownloadError::RangeNotHonored&) const {
        return u"Server ignored range requests"_s;
    }
};

} // namespace

DownloadError::DownloadError(Case value)
    : value_(std::move(value))
    , text_(errorDescription().toUtf8()) {}

QString DownloadError::errorDescription() const {
    return std::visit(Description{}, value_);
}

} // namespace fetra
