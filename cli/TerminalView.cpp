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
    , relay_(std::make_unique<StandardErrorRelay>()) {}

TerminalView::~TerminalView() {
    leave();
}

int TerminalView::descriptor() const {
    return relay_->descriptor();
}

ListFrame::Row& TerminalView::row(const DownloadLabel& label) {
    const auto found =
        std::find_if(rows_.begin(), rows_.end(), [&](const auto& each) { return each.id == label.id; });
    if (found != rows_.end())
        return *found;
    rows_.push_back({.id = label.id});
    rows_.back().frame.begun = secondsBetween(begun_, clock_.now());
    return rows_.back();
}

void TerminalView::asking(const DownloadLabel& label) {
    const QString server = label.url.host();
    row(label).frame.name = DisplayText::printable(setup_.several || server.isEmpty() ? label.name : server);
    if (!setup_.several)
        draw();
}

void TerminalView::started(const DownloadLabel& label, const TransferStart& start) {
    ProgressFrame& frame = row(label).frame;
    frame.name = DisplayText::printable(label.name);
    frame.mirrors = start.mirrors;
    frame.progress.totalBytes = start.totalBytes;
    frame.progress.connectionLimit = start.info && start.info->acceptsRanges ? start.connections : 1;
    frame.phase = ProgressFrame::Phase::running;
}

void TerminalView::progressed(const DownloadLabel& label, const DownloadProgress& progress) {
    row(label).frame.progress = progress;
}

void TerminalView::stopping() {
    isStopping_ = true;
    for (ListFrame::Row& each : rows_)
        if (each.frame.phase == ProgressFrame::Phase::running)
            each.frame.phase = ProgressFrame::Phase::stopping;
    draw();
}

void TerminalView::completed(const DownloadLabel& label, const DownloadResult& result) {
    end(label, {.line = {Span{DisplayText::printable(label.name), Ink::strong}, Span{u": "_s},
                         Span{EndText::complete(result)}},
                .path = result.destination.toLocalFile()});
}

void TerminalView::failed(const DownloadLabel& label, const TransferFailure& failure) {
    if (!setup_.several)
        end(label, {.line = {Span{EndText::failed(failure)}}});
    else if (!failure.interrupted)
        end(label, {.line = {Span{EndText::failedAmongOthers(label.name, failure)}}});
    else
        end(label, {});
}

void TerminalView::end(const DownloadLabel& label, const Ending& ending) {
    std::erase_if(rows_, [&](const ListFrame::Row& each) { return each.id == label.id; });
    if (!ending.line.isEmpty())
        endings_.push_back(ending);
    if (!setup_.several)
        printEndings();
}

void TerminalView::ended(const RunTotals& totals, const RunEnd& end) {
    rows_.clear();
    printEndings();
    leave();
    if (setup_.several)
        writeAll(relay_->target(), encoded({Span{EndText::all(totals, end)}}) + '\n');
}

void TerminalView::printEndings() {
    forwardMessages();
    if (endings_.empty())
        return;
    leave();
    for (const Ending& each : endings_) {
        writeAll(relay_->target(), encoded(each.line) + '\n');
        if (!each.path.isEmpty())
            setup_.finishedPath(each.path);
    }
    endings_.clear();
}

void TerminalView::refresh(const RunTotals& totals) {
    totals_ = totals;
    printEndings();
    draw();
}

void TerminalView::leave() {
    if (!shown_.isEmpty())
        writeAll(relay_->target(), QByteArray(eraseBelow) + showCursor);
    shown_.clear();
}

QList<StyledLine> TerminalView::lines(int width, int height) {
    const double now = secondsBetween(begun_, clock_.now());
    for (ListFrame::Row& each : rows_)
        each.frame.elapsed = now - each.frame.begun;
    if (setup_.several)
        return ListFrame::render(rows_, totals_, isStopping_, width, height);
    return rows_.empty() ? QList<StyledLine>() : rows_.front().frame.render(width, height);
}

void TerminalView::draw() {
    if (!isInForeground())
        return;
    const Size size = sizeOf(relay_->target());
    // The last column stays free: what is written there leaves the cursor in a state that terminals disagree
    // on.
    const QList<StyledLine> lines = this->lines(size.columns - 1, size.rows);
    if (lines.isEmpty())
        return leave();
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
