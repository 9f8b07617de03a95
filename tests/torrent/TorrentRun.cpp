#include "TorrentRun.h"

#include "http/TransportError.h"
#include "system/PosixError.h"
#include "transfer/DownloadError.h"

namespace fetra::test {

using namespace Qt::StringLiterals;

TorrentRun::TorrentRun(const QUrl& url, const QString& folder, const TorrentOptions& options)
    : downloader_(options, {http_, clock_, random_, ticker_}) {
    TorrentRequest request{.url = url, .directory = QUrl::fromLocalFile(folder)};
    request.onStart = [this](const QString& name) {
        const std::lock_guard lock(lock_);
        starts_ += name;
    };
    request.progress = [this](const DownloadProgress& progress) {
        const std::lock_guard lock(lock_);
        reports_.push_back(progress);
    };
    thread_ = std::thread([this, request] { download(request); });
}

TorrentRun::~TorrentRun() {
    cancel();
    if (thread_.joinable())
        thread_.join();
}

void TorrentRun::download(const TorrentRequest& request) {
    try {
        result_ = downloader_.download(request);
        ending_ = u"complete"_s;
    } catch (const DownloadError& error) {
        ending_ = error.errorDescription();
    } catch (const TransportError& error) {
        ending_ = u"transport %1"_s.arg(error.code());
    } catch (const PosixError& error) {
        ending_ = u"posix %1"_s.arg(error.code());
    }
}

QString TorrentRun::ending() {
    if (thread_.joinable())
        thread_.join();
    return ending_;
}

} // namespace fetra::test
