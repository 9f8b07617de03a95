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
/// One or two lines; for the only download of a run.
[[nodiscard]] QString failed(const TransferFailure& failure);
/// Of one among several.
[[nodiscard]] QString completeAmongOthers(const QString& name, const DownloadResult& result);
[[nodiscard]] QString failedAmongOthers(const QString& name, const TransferFailure& failure);
/// Of several together.
[[nodiscard]] QString all(const RunTotals& totals, const RunEnd& end);

} // namespace EndText

/// Progress as lines for a log: of one download one a second at most, and fewer while little changes; of
/// several a line for each that ends, and one for all of them every ten seconds.
class PlainView final : public ProgressView {
public:
    enum class Chatter { lines, none };
    enum class Extent { one, several };
    /// Where lines for people, and where the finished path goes. Lines come with their line feeds.
    struct Streams {
        std::function<void(const QString&)> messages;
        std::function<void(const QString& path)> finishedPath;
    };

    PlainView(Chatter chatter, Extent extent, Streams streams, const Clock& clock);

    void started(const DownloadLabel& label, const TransferStart& start) override;
    void progressed(const DownloadLabel& label, const DownloadProgress& progress) override;
    void completed(const DownloadLabel& label, const DownloadResult& result) override;
    void failed(const DownloadLabel& label, const TransferFailure& failure) override;
    void ended(const RunTotals& totals, const RunEnd& end) override;
    void refresh(const RunTotals& totals) override;

private:
    const Chatter chatter_;
    const Extent extent_;
    const Streams streams_;
    const Clock& clock_;
    const TimePoint begun_;
    TimePoint lastLine_ = distantPast;
    double lastFraction_ = 0;
    ProgressFrame frame_;
};

} // namespace fetra::cli
