#pragma once

#include "app/model/ThroughputHistory.h"
#include "app/views/DrawnWidget.h"

#include <optional>

namespace fetra {

/// The rates of one download over the last two minutes, with a scale, and with what they were at the moment
/// that the pointer or the arrow keys choose.
class ThroughputChart final : public DrawnWidget {
    Q_OBJECT

public:
    explicit ThroughputChart(QWidget* parent = nullptr);

    /// Oldest first. A second line shows the upload rates when `showsUpload`.
    void setSamples(const QList<ThroughputSample>& samples, bool showsUpload);

    /// What stands beside the hover line; empty while there is none.
    [[nodiscard]] QString hoverText() const;
    /// Where the curves are, in the widget's coordinates.
    [[nodiscard]] QRectF plotArea() const;

    [[nodiscard]] QString spokenValue() const override;
    [[nodiscard]] QSize sizeHint() const override;
    [[nodiscard]] QSize minimumSizeHint() const override;

protected:
    void paintEvent(QPaintEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void leaveEvent(QEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    void focusInEvent(QFocusEvent* event) override;
    void focusOutEvent(QFocusEvent* event) override;

private:
    struct Series;

    [[nodiscard]] QList<Series> series() const;
    [[nodiscard]] int legendHeight() const;
    /// Of the sample at the chosen moment; -1 while none is near.
    [[nodiscard]] qsizetype hovered() const;
    [[nodiscard]] QString textAt(qsizetype index) const;
    void moveHover(std::optional<double> position);

    void paintScale(QPainter& painter) const;
    void paintLegend(QPainter& painter) const;
    void paintCurves(QPainter& painter) const;
    void paintHover(QPainter& painter) const;

    QList<ThroughputSample> samples_;
    QList<double> ticks_;
    bool showsUpload_ = false;
    /// From 0 at the left edge of the plot to 1 at its right one.
    std::optional<double> hover_;
};

} // namespace fetra
