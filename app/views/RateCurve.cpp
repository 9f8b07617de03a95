#include "app/views/RateCurve.h"

#include <algorithm>

namespace fetra::RateCurve {

double position(const QDateTime& date, const QDateTime& newest) {
    const auto age = static_cast<double>(date.msecsTo(newest));
    return std::clamp(1 - age / ThroughputHistory::maxAgeMilliseconds, 0.0, 1.0);
}

QPointF point(const Frame& frame, const QList<ThroughputSample>& samples, qsizetype index, Rate rate) {
    const ThroughputSample& sample = samples.at(index);
    return {frame.area.left() + frame.area.width() * position(sample.date, samples.last().date),
            frame.area.bottom() - frame.area.height() * std::min(sample.*rate / frame.full, 1.0)};
}

QPainterPath line(const Frame& frame, const QList<ThroughputSample>& samples, Rate rate) {
    QPainterPath path(point(frame, samples, 0, rate));
    for (qsizetype index = 1; index < samples.size(); ++index)
        path.lineTo(point(frame, samples, index, rate));
    return path;
}

QPainterPath below(const Frame& frame, const QPainterPath& line) {
    QPainterPath path = line;
    path.lineTo(line.currentPosition().x(), frame.area.bottom());
    path.lineTo(line.elementAt(0).x, frame.area.bottom());
    path.closeSubpath();
    return path;
}

double largest(const QList<ThroughputSample>& samples, Rate rate) {
    double found = 0;
    for (const ThroughputSample& sample : samples)
        found = std::max(found, sample.*rate);
    return found;
}

} // namespace fetra::RateCurve
