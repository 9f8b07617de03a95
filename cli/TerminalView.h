#pragma once

#include "cli/ProgressFrame.h"
#include "cli/ProgressView.h"
#include "cli/StandardErrorRelay.h"
#include "system/Clock.h"

#include <functional>
#include <memory>

namespace fetra::cli {

/// One block on the terminal at standard error, redrawn in place. Between drawings the terminal's cursor
/// stands, unseen, at the beginning of the block: wherever the terminal moves the text when its size changes,
/// "from here to the end" is still the whole block.
class TerminalView final : public ProgressView {
public:
    struct Setup {
        /// Shown until the file's name is known.
        QString server;
        bool colour = false;
        /// Draws with ASCII alone.
        bool ascii = false;
        std::function<void(const QString& path)> finishedPath;
    };

    TerminalView(Setup setup, const Clock& clock);
    ~TerminalView() override;

    void started(const TransferStart& start) override;
    void progressed(const DownloadProgress& progress) override;
    void stopping() override;
    void completed(const DownloadResult& result) override;
    void failed(const TransferFailure& failure) override;
    void refresh() override;
    void leave() override;
    [[nodiscard]] int descriptor() const override;

private:
    void draw();
    void forwardMessages();
    void finish(const StyledLine& line);
    [[nodiscard]] QByteArray encoded(const StyledLine& line) const;
    [[nodiscard]] bool isInForeground() const;

    const Setup setup_;
    const Clock& clock_;
    const TimePoint begun_;
    std::unique_ptr<StandardErrorRelay> relay_;
    ProgressFrame frame_;
    /// What the terminal shows, and the size it had then.
    QByteArray shown_;
    int shownColumns_ = 0;
    int shownRows_ = 0;
};

} // namespace fetra::cli
