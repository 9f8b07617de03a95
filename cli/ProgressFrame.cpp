#include "ProgressFrame.h"

#include "cli/DisplayText.h"
#include "cli/RangeBar.h"
#include "transfer/ByteFormat.h"

#include <QSet>
#include <QStringList>

#include <algorithm>
#include <cmath>

using namespace Qt::StringLiterals;

namespace fetra::cli {
namespace {

constexpr QStringView separator = u" · ";
constexpr int separatorWidth = 3;
constexpr int percentageWidth = 6;

/// One thing to say, and the room it is given, so that lines break at the same places whatever the numbers
/// are.
struct Fact {
    QString text;
    int room = 0;
};

void addFact(QList<Fact>& facts, const QString& text, int room) {
    facts += Fact{text, std::max(room, DisplayText::cellWidth(text))};
}

QList<StyledLine> wrapped(const QList<Fact>& facts, int width) {
    QList<StyledLine> lines;
    int used = 0;
    for (const Fact& fact : facts) {
        const bool fits = !lines.isEmpty() && used + separatorWidth + fact.room <= width;
        if (fits) {
            lines.last() += Span{separator.toString(), Ink::faint};
            used += separatorWidth;
        } else {
            lines += StyledLine{};
            used = 0;
        }
        lines.last() += Span{DisplayText::fitted(fact.text, width - used), Ink::plain};
        used += fact.room;
    }
    return lines;
}

QList<StyledLine> wrappedWords(const QString& sentence, int width) {
    QList<StyledLine> lines;
    QString line;
    for (const QString& word : sentence.split(u' ')) {
        const QString longer = line.isEmpty() ? word : line + u' ' + word;
        if (DisplayText::cellWidth(longer) <= width) {
            line = longer;
            continue;
        }
        if (!line.isEmpty())
            lines += StyledLine{Span{line}};
        line = DisplayText::fitted(word, width);
    }
    lines += StyledLine{Span{line}};
    return lines;
}

qint64 mirrorsInUse(const DownloadProgress& progress) {
    QSet<qint64> sources;
    for (const SegmentSnapshot& segment : progress.segments)
        if (segment.active && segment.source > 0)
            sources += segment.source;
    return sources.size();
}

QString connectionsText(const DownloadProgress& progress, bool isShort) {
    return u"%1%2%3%4"_s.arg(QString::number(progress.activeConnections), isShort ? u"/"_s : u" of "_s,
                             QString::number(progress.connectionLimit),
                             progress.connectionLimit == 1 ? u" connection"_s : u" connections"_s);
}

QList<Fact> factsOf(const ProgressFrame& frame, int width) {
    const DownloadProgress& progress = frame.progress;
    QList<Fact> facts;
    const QString have = ByteFormat::size(std::max<qint64>(progress.receivedBytes, 0));
    constexpr int sizeRoom = 10;
    if (!progress.totalBytes) {
        addFact(facts, frame.received(), sizeRoom + 9);
    } else {
        const QString total = u"of "_s + ByteFormat::size(*progress.totalBytes);
        const int room = sizeRoom + 1 + int(total.size());
        if (room <= width) {
            addFact(facts, have + u' ' + total, room);
        } else {
            addFact(facts, have, sizeRoom);
            addFact(facts, total, sizeRoom + 3);
        }
    }
    addFact(facts, frame.speed(), 12);
    addFact(facts, frame.timeLeft(), 11);
    addFact(facts, connectionsText(progress, width < 20), 20);
    if (frame.mirrors > 0)
        addFact(facts,
                u"%1 of %2 mirror%3"_s.arg(mirrorsInUse(progress))
                    .arg(frame.mirrors)
                    .arg(frame.mirrors == 1 ? u""_s : u"s"_s),
                14);
    return facts;
}

StyledLine barLine(const ProgressFrame& frame, int width) {
    const auto total = frame.progress.totalBytes;
    if (!total)
        return RangeBar::moving(frame.elapsed, width);
    const QString percentage = frame.percentage().rightJustified(percentageWidth);
    const int cells = width - percentageWidth - 1;
    if (cells < 1)
        return {Span{DisplayText::cut(frame.percentage(), width), Ink::strong}};
    // Nothing is missing of an empty file.
    StyledLine line = *total > 0 ? RangeBar::ranges(frame.progress.segments, *total, cells)
                                 : StyledLine{Span{QString(cells, u'█'), Ink::server0}};
    line += Span{u" "_s + percentage, Ink::strong};
    return line;
}

} // namespace

QList<StyledLine> ProgressFrame::render(int width, int height) const {
    if (width < 1 || height < 1)
        return {};
    if (phase == Phase::asking)
        return {StyledLine{Span{DisplayText::fitted(u"Asking %1…"_s.arg(name), width)}}};

    QList<StyledLine> lines;
    if (height > 1)
        lines += StyledLine{Span{DisplayText::fitted(name, width), Ink::strong}};
    lines += barLine(*this, width);
    lines += phase == Phase::stopping
                 ? wrappedWords(u"Stopping, saving what is here… Ctrl-C again ends at once."_s, width)
                 : wrapped(factsOf(*this, width), width);
    return lines.first(std::min<qsizetype>(lines.size(), height));
}

QString ProgressFrame::oneLine() const {
    QStringList parts;
    if (progress.totalBytes)
        parts += percentage();
    parts += received();
    parts += speed();
    parts += timeLeft();
    return parts.join(u", ");
}

bool ProgressFrame::isWhole() const {
    return progress.totalBytes && progress.receivedBytes >= *progress.totalBytes;
}

QString ProgressFrame::percentage() const {
    if (isWhole())
        return u"100.0%"_s;
    const double tenths = std::floor(progress.fraction().value_or(0) * 1000);
    // Never rounded up to what has not been reached.
    return QString::number(std::clamp(tenths, 0.0, 999.0) / 10, 'f', 1) + u'%';
}

QString ProgressFrame::received() const {
    const QString have = ByteFormat::size(std::max<qint64>(progress.receivedBytes, 0));
    return progress.totalBytes ? u"%1 of %2"_s.arg(have, ByteFormat::size(*progress.totalBytes))
                               : u"%1 received"_s.arg(have);
}

QString ProgressFrame::speed() const {
    const double rate = progress.bytesPerSecond;
    return ByteFormat::rate(std::isfinite(rate) ? std::max(rate, 0.0) : 0.0);
}

QString ProgressFrame::timeLeft() const {
    if (isWhole())
        return u"checking the file"_s;
    if (progress.activeConnections == 0)
        return u"waiting"_s;
    if (!progress.totalBytes)
        return u"%1 so far"_s.arg(ByteFormat::duration(elapsed));
    constexpr double longest = 100 * 3600.0;
    const double seconds = progress.eta().value_or(-1);
    return seconds >= longest ? u"over 4 days left"_s : u"%1 left"_s.arg(ByteFormat::duration(seconds));
}

} // namespace fetra::cli
