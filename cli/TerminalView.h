#pragma once

#include "cli/ListFrame.h"
#include "cli/ProgressView.h"
#include "cli/StandardErrorRelay.h"
#include "system/Clock.h"

#include <functional>
#include <memory>
#include <vector>

namespace fetra::cli {

/// One block on the terminal at standard error, redrawn in place. Between drawings the terminal's cursor
/// stands, unseen, at the beginning of the block: wherever the terminal moves the text when its size changes,
/// "from here to the end" is still the whole block.
class TerminalView final : public ProgressView {
public:
    struct Setup {
        /// Several downloads have a line each, a single one a block.
        bool several = false;
        bool colour = false;
        /// Draws with ASCII alone.
        bool ascii = false;
        std::function<void(const QString& path)> finishedPath;
    };

    TerminalView(Setup setup, const Clock& clock);
    ~TerminalView() override;

    void asking(const DownloadLabel& label) override;
    void started(const DownloadLabel& label, const TransferStart& start) override;
    void progressed(const DownloadLabel& label, const DownloadProgress& progress) override;
    void completed(const DownloadLabel& label, const DownloadResult& result) override;
    void failed(const DownloadLabel& label, const TransferFailure& failure) override;
    void stopping() override;
    void ended(const RunTotals& totals, const RunEnd& end) override;
    /// Everything but a stop shows with the next one, however much has happened.
    void refresh(const RunTotals& totals) override;
    void leave() override;
    [[nodiscard]] int descriptor() const override;

private:
    /// What is to scroll up above the block: a line, and the path for standard output.
    struct Ending {
        StyledLine line = {};
        QString path = {};
    };

    [[nodiscard]] ListFrame::Row& row(const DownloadLabel& label);
    [[nodiscard]] QList<StyledLine> lines(int width, int height);
    void draw();
    void end(const DownloadLabel& label, const Ending& ending);
    void printEndings();
    void forwardMessages();
    [[nodiscard]] QByteArray encoded(const StyledLine& line) const;
    [[nodiscard]] bool isInForeground() const;

    const Setup setup_;
    const Clock& clock_;
    const TimePoint begun_;
    std::unique_ptr<StandardErrorRelay> relay_;
    /// The running ones, in the order in which they came.
    std::vector<ListFrame::Row> rows_;
    std::vector<Ending> endings_;
    RunTotals totals_;
    bool isStopping_ = false;
    /// What the terminal shows, and the size it had then.
    QByteArray shown_;
    int shownColumns_ = 0;
    int shownRows_ = 0;
};

} // namespace fetra::cli
