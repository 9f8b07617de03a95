#include "app/views/ThroughputChart.h"

#include "app/model/InspectorFacts.h"
#include "app/views/RateCurve.h"
#include "app/views/Theme.h"
#include "transfer/ByteFormat.h"

#include <QKeyEvent>
#include <QMouseEvent>
#include <QPainter>

#include <algorithm>
#include <cmath>
#include <utility>

namespace fetra {

struct ThroughputChart::Series {
    QString title;
    RateCurve::Rate rate;
    QColor color;
};

namespace {

constexpr double windowSeconds = ThroughputHistory::maxAgeMilliseconds / 1000.0;
/// A gap in the samples that is wider than this holds nothing to show.
constexpr double nearSeconds = 2;
constexpr qreal lineWidth = 1.5;
constexpr qreal fillOpacity = 0.14;
constexpr qreal dotRadius = 3;
constexpr int rows = 7;

/// On whole device pixels.
qreal aligned(qreal coordinate, const QPainter& painter) {
    const qreal scale = painter.device()->devicePixelRatioF();
    return std::round(coordinate * scale) / scale;
}

} // namespace

ThroughputChart::ThroughputChart(QWidget* parent)
    : DrawnWidget(QAccessible::Chart, parent) {
    setAccessibleName(tr("Throughput"));
    setFont(Theme::smaller(font()));
    setMouseTracking(true);
    setFocusPolicy(Qt::StrongFocus);
    setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
}

void ThroughputChart::setSamples(const QList<ThroughputSample>& samples, bool showsUpload) {
    if (samples == samples_ && showsUpload == showsUpload_)
        return;
    samples_ = samples;
    if (std::exchange(showsUpload_, showsUpload) != showsUpload)
        updateGeometry(); // The legend comes or goes.
    double largest = 0;
    for (const Series& each : series())
        largest = std::max(largest, RateCurve::largest(samples_, each.rate));
    ticks_ = InspectorFacts::rateTicks(largest);
    update();
    announceValue();
}

QList<ThroughputChart::Series> ThroughputChart::series() const {
    QList<Series> all{{tr("Download"), &ThroughputSample::bytesPerSecond, Theme::accent(palette())}};
    if (showsUpload_)
        all.append({tr("Upload"), &ThroughputSample::uploadBytesPerSecond, Theme::secondaryText(palette())});
    return all;
}

// The chosen moment

qsizetype ThroughputChart::hovered() const {
    if (!hover_ || samples_.isEmpty())
        return -1;
    const auto distance = [this](const ThroughputSample& sample) {
        return std::abs(RateCurve::position(sample.date, samples_.last().date) - *hover_);
    };
    const auto nearest = std::ranges::min_element(samples_, {}, distance);
    return distance(*nearest) * windowSeconds <= nearSeconds ? nearest - samples_.begin() : -1;
}

QString ThroughputChart::textAt(qsizetype index) const {
    const ThroughputSample& sample = samples_.at(index);
    const qint64 age = sample.date.secsTo(samples_.last().date);
    QStringList lines{age == 0 ? tr("now") : tr("%1 s ago").arg(age)};
    for (const Series& each : series()) {
        const QString rate = ByteFormat::rate(sample.*each.rate);
        lines.append(showsUpload_ ? tr("%1 %2").arg(each.title, rate) : rate);
    }
    return lines.join(u'\n');
}

QString ThroughputChart::hoverText() const {
    const qsizetype index = hovered();
    return index < 0 ? QString() : textAt(index);
}

QString ThroughputChart::spokenValue() const {
    if (samples_.isEmpty())
        return tr("No samples");
    const qsizetype index = hovered();
    return textAt(index < 0 ? samples_.size() - 1 : index).replace(u'\n', QStringLiteral(", "));
}

void ThroughputChart::moveHover(std::optional<double> position) {
    if (position == hover_)
        return;
    hover_ = position;
    update();
    announceValue();
}

void ThroughputChart::mouseMoveEvent(QMouseEvent* event) {
    const QRectF plot = plotArea();
    const double x = event->position().x();
    if (x < plot.left() || x > plot.right())
        moveHover({});
    else
        moveHover((x - plot.left()) / plot.width());
}

void ThroughputChart::leaveEvent(QEvent* event) {
    moveHover({});
    QWidget::leaveEvent(event);
}

void ThroughputChart::keyPressEvent(QKeyEvent* event) {
    constexpr double step = 1 / windowSeconds;
    switch (event->key()) {
    case Qt::Key_Left:
        moveHover(std::max(0.0, hover_ ? *hover_ - step : 1.0));
        break;
    case Qt::Key_Right:
        moveHover(std::min(1.0, hover_ ? *hover_ + step : 1.0));
        break;
    case Qt::Key_Home:
        moveHover(0);
        break;
    case Qt::Key_End:
        moveHover(1);
        break;
    default:
        QWidget::keyPressEvent(event);
    }
}

void ThroughputChart::focusInEvent(QFocusEvent* event) {
    QWidget::focusInEvent(event);
    update();
}

void ThroughputChart::focusOutEvent(QFocusEvent* event) {
    QWidget::focusOutEvent(event);
    moveHover({});
    update();
}

// Drawing

QSize ThroughputChart::sizeHint() const {
    const int line = fontMetrics().height();
    return {line * 16, line * (rows + 1) + legendHeight()};
}

QSize ThroughputChart::minimumSizeHint() const {
    return {fontMetrics().height() * 10, sizeHint().height()};
}

int ThroughputChart::legendHeight() const {
    return showsUpload_ ? fontMetrics().height() + Theme::tight : 0;
}

QRectF ThroughputChart::plotArea() const {
    const int line = fontMetrics().height();
    // The widest text of the scale has its room from the start, so that the curves keep their place.
    const int scaleWidth = fontMetrics().horizontalAdvance(ByteFormat::rate(888.88 * 1024)) + Theme::gap;
    return QRectF(rect()).adjusted(scaleWidth, legendHeight() + line / 2, -dotRadius, -line - Theme::tight);
}

void ThroughputChart::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    // Time runs to the right in every language, and texts stand where the curve has them.
    painter.setLayoutDirection(Qt::LeftToRight);
    painter.setRenderHint(QPainter::Antialiasing);
    if (hasFocus()) {
        painter.setPen(QPen(Theme::accent(palette()), 1));
        painter.drawRoundedRect(QRectF(rect()).adjusted(0.5, 0.5, -0.5, -0.5), Theme::radius, Theme::radius);
    }
    if (samples_.isEmpty())
        return;
    paintScale(painter);
    if (showsUpload_)
        paintLegend(painter);
    paintCurves(painter);
    paintHover(painter);
}

void ThroughputChart::paintScale(QPainter& painter) const {
    const QRectF plot = plotArea();
    const int line = fontMetrics().height();
    const qreal thin = 1 / painter.device()->devicePixelRatioF();
    for (const double tick : ticks_) {
        const qreal y = plot.bottom() - plot.height() * tick / ticks_.last();
        painter.fillRect(QRectF(plot.left(), aligned(y, painter) - thin, plot.width(), std::max(thin, 0.5)),
                         Theme::separator(palette()));
        painter.setPen(Theme::secondaryText(palette()));
        painter.drawText(QRectF(0, y - line / 2.0, plot.left() - Theme::gap, line),
                         Qt::AlignRight | Qt::AlignVCenter,
                         tick == 0 ? tr("0") : ByteFormat::rateBeside(ticks_.last(), tick));
    }
    const QRectF below(plot.left(), plot.bottom() + Theme::tight, plot.width(), line);
    painter.drawText(below, Qt::AlignLeft | Qt::AlignVCenter, tr("2 minutes ago"));
    painter.drawText(below, Qt::AlignRight | Qt::AlignVCenter, tr("now"));
}

void ThroughputChart::paintLegend(QPainter& painter) const {
    const int line = fontMetrics().height();
    qreal x = plotArea().left();
    for (const Series& each : series()) {
        painter.setPen(Qt::NoPen);
        painter.setBrush(each.color);
        painter.drawEllipse(QPointF(x + dotRadius, line / 2.0), dotRadius, dotRadius);
        x += 2 * dotRadius + Theme::tight;
        const int width = fontMetrics().horizontalAdvance(each.title);
        painter.setPen(palette().color(QPalette::WindowText));
        painter.drawText(QRectF(x, 0, width + 1, line), Qt::AlignLeft | Qt::AlignVCenter, each.title);
        x += width + Theme::wide;
    }
}

void ThroughputChart::paintCurves(QPainter& painter) const {
    const RateCurve::Frame frame{.area = plotArea(), .full = ticks_.last()};
    for (const Series& each : series()) {
        const QPainterPath line = RateCurve::line(frame, samples_, each.rate);
        // Only the first is filled: one fill over the other would be a third colour.
        if (each.rate == &ThroughputSample::bytesPerSecond) {
            painter.setOpacity(fillOpacity);
            painter.fillPath(RateCurve::below(frame, line), each.color);
            painter.setOpacity(1);
        }
        painter.strokePath(line, QPen(each.color, lineWidth, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
    }
}

void ThroughputChart::paintHover(QPainter& painter) const {
    const qsizetype index = hovered();
    if (index < 0)
        return;
    const RateCurve::Frame frame{.area = plotArea(), .full = ticks_.last()};
    const qreal x = RateCurve::point(frame, samples_, index, &ThroughputSample::bytesPerSecond).x();
    const qreal thin = 1 / painter.device()->devicePixelRatioF();
    painter.fillRect(QRectF(aligned(x, painter), frame.area.top(), std::max(thin, 0.5), frame.area.height()),
                     Theme::secondaryText(palette()));
    for (const Series& each : series()) {
        painter.setPen(QPen(palette().color(QPalette::Window), 1));
        painter.setBrush(each.color);
        painter.drawEllipse(RateCurve::point(frame, samples_, index, each.rate), dotRadius, dotRadius);
    }

    const QString text = textAt(index);
    QRectF bubble = fontMetrics().boundingRect(QRect(0, 0, width(), height()), Qt::AlignLeft, text);
    bubble = bubble.marginsAdded(QMarginsF(Theme::tight, 2, Theme::tight, 2));
    const bool fitsRight = x + Theme::gap + bubble.width() <= frame.area.right();
    bubble.moveTopLeft({fitsRight ? x + Theme::gap : x - Theme::gap - bubble.width(), frame.area.top()});
    painter.setPen(QPen(Theme::separator(palette()), 1));
    painter.setBrush(palette().color(QPalette::Base));
    painter.drawRoundedRect(bubble, Theme::radius / 2, Theme::radius / 2);
    painter.setPen(palette().color(QPalette::Text));
    painter.drawText(bubble.adjusted(Theme::tight, 2, 0, 0), Qt::AlignLeft, text);
}

} // namespace fetra
