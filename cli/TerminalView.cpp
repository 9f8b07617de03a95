#include "TerminalView.h"

#include "cli/DisplayText.h"
#include "cli/PlainView.h"
#include "cli/StandardStreams.h"

#include <algorithm>
#include <cstdlib>
#include <sys/ioctl.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace fetra::cli {
namespace {

struct Size {
    int columns = 80;
    int rows = 24;
};

Size sizeOf(int terminal) {
    winsize window{};
    if (::ioctl(terminal, TIOCGWINSZ, &window) != 0 || window.ws_col == 0)
        return {};
    return {window.ws_col, std::max<int>(window.ws_row, 1)};
}

// No wrapping while drawing: a terminal that counts a character wider than we do must not break the block.
constexpr auto beginDrawing = "\x1b[?25l\x1b[?7l\r";
constexpr auto endDrawing = "\x1b[?7h";
constexpr auto showCursor = "\x1b[?25h";
constexpr auto eraseBelow = "\r\x1b[J";
constexpr auto eraseRight = "\x1b[K";

} // namespace

TerminalView::TerminalView(Setup setup, const Clock& clock)
    : setup_(std::move(setup))
    , clock_(clock)
    , begun_(clock.now())
    , relay_(std::make_unique<StandardErrorRelay>()) {
    frame_.name = DisplayText::printable(setup_.server);
    draw();
}

TerminalView::~TerminalView() {
    if (relay_)
        leave();
}

int TerminalView::descriptor() const {
    return relay_ ? relay_->descriptor() : -1;
}

void TerminalView::started(const TransferStart& start) {
    frame_.name = DisplayText::printable(start.destination.fileName());
    frame_.mirrors = start.mirrors;
    frame_.progress.totalBytes = start.info.totalSize;
    frame_.progress.connectionLimit = start.info.acceptsRanges ? start.connections : 1;
    frame_.phase = ProgressFrame::Phase::running;
    draw();
}

void TerminalView::progressed(const DownloadProgress& progress) {
    frame_.progress = progress;
    draw();
}

void TerminalView::stopping() {
    frame_.phase = ProgressFrame::Phase::stopping;
    draw();
}

void TerminalView::completed(const DownloadResult& result) {
    const QString name = DisplayText::printable(result.destination.fileName());
    finish({Span{name, Ink::strong}, Span{u": "_s}, Span{EndText::complete(result)}});
    setup_.finishedPath(result.destination.toLocalFile());
}

void TerminalView::failed(const TransferFailure& failure) {
    finish({Span{EndText::failed(failure)}});
}

void TerminalView::refresh() {
    forwardMessages();
    draw();
}

void TerminalView::leave() {
    if (!shown_.isEmpty())
        writeAll(relay_->target(), QByteArray(eraseBelow) + showCursor);
    shown_.clear();
}

void TerminalView::draw() {
    if (!isInForeground())
        return;
    const Size size = sizeOf(relay_->target());
    frame_.elapsed = secondsBetween(begun_, clock_.now());
    // The last column stays free: what is written there leaves the cursor in a state that terminals disagree
    // on.
    const QList<StyledLine> lines = frame_.render(size.columns - 1, size.rows);
    QByteArray block = beginDrawing;
    for (qsizetype i = 0; i < lines.size(); ++i)
        block += (i ? "\r\n" : "") + encoded(lines[i]) + eraseRight;
    block += "\x1b[J";
    if (lines.size() > 1)
        block += "\x1b[" + QByteArray::number(lines.size() - 1) + 'A';
    block += '\r';
    block += endDrawing;
    if (block == shown_ && size.columns == shownColumns_ && size.rows == shownRows_)
        return;
    writeAll(relay_->target(), block);
    shown_ = block;
    shownColumns_ = size.columns;
    shownRows_ = size.rows;
}

void TerminalView::forwardMessages() {
    const QByteArrayList messages = relay_->takeLines();
    if (messages.isEmpty())
        return;
    leave();
    for (const QByteArray& message : messages)
        writeAll(relay_->target(), DisplayText::printable(QString::fromUtf8(message)).toUtf8() + '\n');
}

void TerminalView::finish(const StyledLine& line) {
    forwardMessages();
    leave();
    writeAll(relay_->target(), encoded(line) + '\n');
    relay_.reset();
}

QByteArray TerminalView::encoded(const StyledLine& line) const {
    const QString text = setup_.colour ? StyledText::coloured(line) : StyledText::plain(line);
    return (setup_.ascii ? StyledText::ascii(text) : text).toUtf8();
}

bool TerminalView::isInForeground() const {
    // -1: it is not the terminal that controls us, and nobody else's either as far as we know.
    const pid_t group = ::tcgetpgrp(relay_->target());
    return group < 0 || group == ::getpgrp();
}

} // namespace fetra::cli
