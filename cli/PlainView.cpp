#include "PlainView.h"

#include "cli/DisplayText.h"
#include "cli/ListFrame.h"
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

QString EndText::completeAmongOthers(const QString& name, const DownloadResult& result) {
    return DisplayText::printable(name) + u": "_s + complete(result);
}

QString EndText::failedAmongOthers(const QString& name, const TransferFailure& failure) {
    return u"fetra: %1: %2"_s.arg(DisplayText::printable(name), DisplayText::printable(failure.sentence));
}

QString EndText::all(const RunTotals& totals, const RunEnd& end) {
    const QString complete = u"%1 of %2 complete"_s.arg(totals.completed).arg(totals.count);
    const QString failed = totals.failed > 0 ? u", %1 failed"_s.arg(totals.failed) : QString();
    if (!end.interrupted)
        return u"%1%2; %3 in %4."_s.arg(complete, failed, ByteFormat::size(end.bytes),
                                        ByteFormat::duration(end.elapsed));
    const QString stopped = u"Stopped with %1%2"_s.arg(complete, failed);
    if (end.state)
        return u"%1; fetra --state %2 goes on with the rest."_s.arg(stopped,
                                                                    DisplayText::printable(*end.state));
    if (end.resumable > 0)
        return u"%1; %2 more go on from what is here when their links are given again."_s.arg(stopped).arg(
            end.resumable);
    return stopped + u'.';
}

PlainView::PlainView(Chatter chatter, Extent extent, Streams streams, const Clock& clock)
    : chatter_(chatter)
    , extent_(extent)
    , streams_(std::move(streams))
    , clock_(clock)
    , begun_(clock.now())
    , lastLine_(extent == Extent::one ? distantPast : begun_) {}

void PlainView::started(const DownloadLabel&, const TransferStart& start) {
    if (chatter_ == Chatter::none || extent_ == Extent::several)
        return;
    const QString size = start.totalBytes ? ByteFormat::size(*start.totalBytes) : u"size unknown"_s;
    streams_.messages(u"%1, %2\n"_s.arg(DisplayText::printable(start.destination.fileName()), size));
    lastLine_ = clock_.now();
}

void PlainView::progressed(const DownloadLabel&, const DownloadProgress& progress) {
    if (chatter_ == Chatter::none || extent_ == Extent::several)
        return;
    frame_.progress = progress;
    const TimePoint now = clock_.now();
    const double fraction = progress.fraction().value_or(0);
    const double wait = std::abs(fraction - lastFraction_) >= 0.01 ? 1.0 : 10.0;
    if (secondsBetween(lastLine_, now) < wait)
        return;
    frame_.elapsed = secondsBetween(begun_, now);
    streams_.messages(frame_.oneLine() + u'\n');
    lastLine_ = now;
    lastFraction_ = fraction;
}

void PlainView::completed(const DownloadLabel& label, const DownloadResult& result) {
    if (chatter_ == Chatter::lines)
        streams_.messages((extent_ == Extent::one ? EndText::complete(result)
                                                  : EndText::completeAmongOthers(label.name, result)) +
                          u'\n');
    streams_.finishedPath(result.destination.toLocalFile());
}

void PlainView::failed(const DownloadLabel& label, const TransferFailure& failure) {
    if (extent_ == Extent::one)
        streams_.messages(EndText::failed(failure) + u'\n');
    else if (!failure.interrupted)
        streams_.messages(EndText::failedAmongOthers(label.name, failure) + u'\n');
}

void PlainView::ended(const RunTotals& totals, const RunEnd& end) {
    if (extent_ == Extent::several && (chatter_ == Chatter::lines || end.interrupted))
        streams_.messages(EndText::all(totals, end) + u'\n');
}

void PlainView::refresh(const RunTotals& totals) {
    constexpr double interval = 10.0;
    if (chatter_ == Chatter::none || extent_ == Extent::one ||
        secondsBetween(lastLine_, clock_.now()) < interval)
        return;
    streams_.messages(ListFrame::oneLine(totals) + u'\n');
    lastLine_ = clock_.now();
}

} // namespace fetra::cli
