#include "ListFrame.h"

#include "cli/DisplayText.h"
#include "cli/RangeBar.h"
#include "transfer/ByteFormat.h"

#include <QStringList>

#include <algorithm>
#include <cmath>

using namespace Qt::StringLiterals;

namespace fetra::cli {
namespace {

constexpr QStringView separator = u" · ";
constexpr int percentageWidth = 6;
constexpr int speedWidth = 12;
constexpr int timeWidth = 8;
/// A shorter bar says nothing.
constexpr int leastBar = 6;

/// `text` on exactly `cells`.
QString column(const QString& text, int cells) {
    const QString fitted = DisplayText::fitted(text, cells);
    return fitted + QString(std::max(cells - DisplayText::cellWidth(fitted), 0), u' ');
}

QString rightColumn(const QString& text, int cells) {
    return DisplayText::fitted(text, cells).rightJustified(cells);
}

QString timeOf(const ProgressFrame& frame) {
    if (frame.isWhole())
        return u"checking"_s;
    if (frame.progress.activeConnections == 0)
        return u"waiting"_s;
    constexpr double longest = 100 * 3600.0;
    const std::optional<double> seconds = frame.progress.eta();
    if (!seconds)
        return {};
    return *seconds >= longest ? u">4 days"_s : ByteFormat::duration(*seconds);
}

StyledLine rowLine(const ProgressFrame& frame, int width) {
    const int nameWidth = std::min(std::max(width * 3 / 10, 12), width);
    StyledLine line{Span{column(frame.name, nameWidth), Ink::strong}};
    int room = width - nameWidth;
    if (frame.phase == ProgressFrame::Phase::asking) {
        line += Span{DisplayText::fitted(u" asking…"_s, room), Ink::faint};
        return line;
    }
    // From the right, what there is room for.
    QString facts;
    const auto append = [&](const QString& text, int cells) {
        if (room < cells + 1)
            return;
        facts += u' ' + rightColumn(text, cells);
        room -= cells + 1;
    };
    append(frame.progress.totalBytes ? frame.percentage() : QString(), percentageWidth);
    append(frame.speed(), speedWidth);
    if (room > timeWidth + 1 + leastBar)
        append(timeOf(frame), timeWidth);
    if (const int bar = room - 1; bar >= leastBar) {
        const auto total = frame.progress.totalBytes;
        line += Span{u" "_s};
        line += !total       ? RangeBar::moving(frame.elapsed, bar)
                : *total > 0 ? RangeBar::ranges(frame.progress.segments, *total, bar)
                             : StyledLine{Span{QString(bar, u'█'), Ink::server0}};
    }
    line += Span{facts};
    return line;
}

QStringList totalParts(const RunTotals& totals) {
    QStringList parts{u"%1 of %2 done"_s.arg(totals.completed).arg(totals.count)};
    if (totals.failed > 0)
        parts += u"%1 failed"_s.arg(totals.failed);
    if (totals.queued > 0)
        parts += u"%1 queued"_s.arg(totals.queued);
    parts += ByteFormat::rate(totals.bytesPerSecond);
    if (totals.timeLeft)
        parts += ByteFormat::duration(*totals.timeLeft) + u" left"_s;
    return parts;
}

StyledLine totalLine(const RunTotals& totals, int width) {
    QStringList parts = totalParts(totals);
    const auto isTooWide = [&] { return DisplayText::cellWidth(parts.join(separator)) > width; };
    // What is queued can be worked out from the rest.
    if (isTooWide())
        parts.removeIf([](const QString& part) { return part.endsWith("queued"_L1); });
    while (isTooWide() && parts.size() > 1)
        parts.removeLast();
    return {Span{DisplayText::fitted(parts.join(separator), width)}};
}

} // namespace

QList<StyledLine> ListFrame::render(std::span<const Row> rows, const RunTotals& totals, bool isStopping,
                                    int width, int height) {
    if (width < 1 || height < 1)
        return {};
    const auto room = static_cast<size_t>(height - 1);
    const size_t shown = rows.size() <= room ? rows.size() : room - std::min<size_t>(room, 1);
    QList<StyledLine> lines;
    for (const Row& row : rows.first(shown))
        lines += rowLine(row.frame, width);
    if (shown < rows.size() && room > 0)
        lines += StyledLine{
            Span{DisplayText::fitted(u"and %1 more"_s.arg(rows.size() - shown), width), Ink::faint}};
    if (isStopping)
        lines += StyledLine{
            Span{DisplayText::fitted(u"Stopping, saving what is here… Ctrl-C again ends at once."_s, width)}};
    else
        lines += totalLine(totals, width);
    return lines;
}

QString ListFrame::oneLine(const RunTotals& totals) {
    return totalParts(totals).join(u", ");
}

} // namespace fetra::cli
