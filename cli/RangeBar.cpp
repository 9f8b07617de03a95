#include "RangeBar.h"

#include <algorithm>
#include <cmath>
#include <vector>

namespace fetra::cli {
namespace {

constexpr QChar full(u'█');
constexpr QChar most(u'▓');
constexpr QChar some(u'▒');
constexpr QChar none(u'░');

struct Cell {
    /// 0 to 1.
    double filled = 0;
    qint64 source = 0;
};

Ink inkOf(qint64 source) {
    static constexpr Ink inks[]{Ink::server0, Ink::server1, Ink::server2, Ink::server3};
    return inks[size_t(std::max<qint64>(source, 0)) % std::size(inks)];
}

void append(StyledLine& line, QChar character, Ink ink) {
    if (line.isEmpty() || line.last().ink != ink)
        line += Span{{}, ink};
    line.last().text += character;
}

} // namespace

StyledLine RangeBar::ranges(const QList<SegmentSnapshot>& segments, qint64 total, int cells) {
    std::vector<Cell> bar(size_t(std::max(cells, 0)));
    const double perCell = double(total) / double(bar.size());
    for (const SegmentSnapshot& segment : segments) {
        const double from = double(std::clamp<qint64>(segment.start, 0, total)) / perCell;
        const double to = double(std::clamp<qint64>(segment.current, 0, total)) / perCell;
        for (size_t i = size_t(from); i < bar.size() && double(i) < to; ++i) {
            bar[i].filled += std::min(to, double(i + 1)) - std::max(from, double(i));
            bar[i].source = segment.source;
        }
    }

    StyledLine line;
    for (const Cell& cell : bar) {
        // Sums of fractions come out a hair below 1.
        if (cell.filled > 0.999'999)
            append(line, full, inkOf(cell.source));
        else if (cell.filled > 0)
            append(line, cell.filled < 0.5 ? some : most, inkOf(cell.source));
        else
            append(line, none, Ink::faint);
    }
    return line;
}

StyledLine RangeBar::moving(double seconds, int cells) {
    const int mark = std::max(cells / 6, 1);
    const int way = std::max(cells - mark, 1);
    const int step = int(std::fmod(std::max(seconds, 0.0) * 4, 2.0 * way));
    const int from = step <= way ? step : 2 * way - step;
    StyledLine line;
    for (int i = 0; i < cells; ++i) {
        const bool isMark = i >= from && i < from + mark;
        append(line, isMark ? full : none, isMark ? Ink::server0 : Ink::faint);
    }
    return line;
}

} // namespace fetra::cli
