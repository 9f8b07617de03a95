#pragma once

#include "app/model/ThroughputHistory.h"

#include <QPainterPath>
#include <QRectF>

/// Rates of the last two minutes as a curve: the newest at the right edge, zero at the bottom.
namespace fetra::RateCurve {

using Rate = double ThroughputSample::*;

struct Frame {
    QRectF area;
    /// In bytes per second, at the upper edge; more than 0.
    double full = 1;
};

/// How far right of the left edge, from 0 to 1, a moment lies when `newest` is at the right one.
[[nodiscard]] double position(const QDateTime& date, const QDateTime& newest);
/// `samples` is not empty, oldest first.
[[nodiscard]] QPointF point(const Frame& frame, const QList<ThroughputSample>& samples, qsizetype index,
                            Rate rate);
[[nodiscard]] QPainterPath line(const Frame& frame, const QList<ThroughputSample>& samples, Rate rate);
/// What lies between the line and zero.
[[nodiscard]] QPainterPath below(const Frame& frame, const QPainterPath& line);

/// 0 without samples.
[[nodiscard]] double largest(const QList<ThroughputSample>& samples, Rate rate);

} // namespace fetra::RateCurve
