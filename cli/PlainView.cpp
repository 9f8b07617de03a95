#include "PlainView.h"

#include "cli/DisplayText.h"
#include "transfer/ByteFormat.h"

#include <cmath>

using namespace Qt::StringLiterals;

namespace fetra::cli {

QString EndText::complete(const DownloadResult& result) {
    QString text = u"%1 in %2"_s.arg(ByteFormat::size(result.bytes), ByteFormat::duration(result.elapsed));
    if (result.bytesThisSession > 0)
        text += u" (%1)"_s.arg(ByteFormat::rate(result.averageBytesPerSecond));
    if (result.resumedFrom > 0)
        text += u", %1 of them from before"_s.arg(ByteFormat::size(result.resumedFrom));
    if (result.sha256)
        text += u", SHA-256 as expected"_s;
    return text;
}

QString EndText::failed(const TransferFailure& failure) {
    const QString size = ByteFormat::size(failure.receivedBytes);
    if (failure.interrupted && !failure.resumable)
        return u"Stopped before the download began."_s;
    if (failure.interrupted)
        return *failure.resumable ? u"Stopped at %1; the same command continues from there."_s.arg(size)
                                  : u"Stopped at %1; the same command starts from the beginning."_s.arg(size);
    QString text = u"fetra: "_s + DisplayText::printable(failure.sentence);
    if (failure.resumable.value_or(false))
        text += u"\nWhat is here is kept; the same command continues from there."_s;
    return text;
}

PlainView::PlainView(Chatter chatter, Streams streams, const Clock& clock)
    : chatter_(chatter)
    , streams_(std::move(streams))
    , clock_(clock)
    , begun_(clock.now()) {}

void PlainView::started(const TransferStart& start) {
    if (chatter_ == Chatter::none)
        return;
    const QString size = start.info.totalSize ? ByteFormat::size(*start.info.totalSize) : u"size unknown"_s;
    streams_.messages(u"%1, %2\n"_s.arg(DisplayText::printable(start.destination.fileName()), size));
    lastLine_ = clock_.now();
}

void PlainView::progressed(const DownloadProgress& progress) {
    frame_.progress = progress;
    const TimePoint now = clock_.now();
    const double fraction = progress.fraction().value_or(0);
    const double wait = std::abs(fraction - lastFraction_) >= 0.01 ? 1.0 : 10.0;
    if (chatter_ == Chatter::none || secondsBetween(lastLine_, now) < wait)
        return;
    frame_.elapsed = secondsBetween(begun_, now);
    streams_.messages(frame_.oneLine() + u'\n');
    lastLine_ = now;
    lastFraction_ = fraction;
}

void PlainView::completed(const DownloadResult& result) {
    if (chatter_ == Chatter::lines)
        streams_.messages(EndText::complete(result) + u'\n');
    streams_.finishedPath(result.destination.toLocalFile());
}

void PlainView::failed(const TransferFailure& failure) {
    streams_.messages(EndText::failed(failure) + u'\n');
}

} // namespace fetra::cli
