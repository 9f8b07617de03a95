#pragma once

#include "cli/ProgressFrame.h"
#include "cli/ProgressView.h"
#include "system/Clock.h"

#include <functional>

namespace fetra::cli {

/// The sentences that end a download, the same wherever they are shown. Each without a line feed.
namespace EndText {

/// "3.70 GB in 1m17s (48.20 MB/s)" and what else is worth knowing.
[[nodiscard]] QString complete(const DownloadResult& result);
/// One or two lines.
[[nodiscard]] QString failed(const TransferFailure& failure);

} // namespace EndText

/// Progress as lines for a log: one a second at most, and fewer while little changes.
class PlainView final : public ProgressView {
public:
    enum class Chatter { lines, none };
    /// Where lines for people, and where the finished path goes. Lines come with their line feeds.
    struct Streams {
        std::function<void(const QString&)> messages;
        std::function<void(const QString& path)> finishedPath;
    };

    PlainView(Chatter chatter, Streams streams, const Clock& clock);

    void started(const TransferStart& start) override;
    void progressed(const DownloadProgress& progress) override;
    void completed(const DownloadResult& result) override;
    void failed(const TransferFailure& failure) override;

private:
    const Chatter chatter_;
    const Streams streams_;
    const Clock& clock_;
    const TimePoint begun_;
    TimePoint lastLine_ = distantPast;
    double lastFraction_ = 0;
    ProgressFrame frame_;
};

} // namespace fetra::cli
