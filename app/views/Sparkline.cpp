#include "app/views/Sparkline.h"

#include "app/views/RateCurve.h"
#include "app/views/Theme.h"
#include "transfer/ByteFormat.h"

#include <QPainter>

#include <algorithm>

namespace fetra {

namespace {

constexpr qreal lineWidth = 1.5;
constexpr qreal fillOpacity = 0.18;

} // namespace

Sparkline::Sparkline(QWidget* parent)
    : DrawnWidget(QAccessible::Chart, parent) {
    setAccessibleName(tr("Throughput"));
    setSizePolicy(QSizePolicy::Fixed, QSizePolicy::Fixed);
}

void Sparkline::setSamples(const QList<ThroughputSample>& samples) {
    if (samples == samples_)
        return;
    samples_ = samples;
    update();
    announceValue();
}

QString Sparkline::spokenValue() const {
    return samples_.isEmpty() ? tr("No samples") : ByteFormat::rate(samples_.last().bytesPerSecond);
}

QSize Sparkline::sizeHint() const {
    const int line = fontMetrics().height();
    return {line * 6, line + Theme::tight};
}

void Sparkline::paintEvent(QPaintEvent*) {
    constexpr auto rate = &ThroughputSample::bytesPerSecond;
    const double largest = RateCurve::largest(samples_, rate);
    if (largest <= 0)
        return;
    const RateCurve::Frame frame{.area = QRectF(rect()).adjusted(1, 1, -1, -1),
                                 .full = std::max(largest, 1.0)};
    const QPainterPath line = RateCurve::line(frame, samples_, rate);
    const QColor color = Theme::accent(palette());
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setOpacity(fillOpacity);
    painter.fillPath(RateCurve::below(frame, line), color);
    painter.setOpacity(1);
    painter.strokePath(line, QPen(color, lineWidth, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
}

} // namespace fetra
