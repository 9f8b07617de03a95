#pragma once

#include "app/model/ThroughputHistory.h"
#include "app/views/DrawnWidget.h"

namespace fetra {

/// Download rates as a small filled line. Whoever shows it gives it a tool tip that says whose they are.
class Sparkline final : public DrawnWidget {
    Q_OBJECT

public:
    explicit Sparkline(QWidget* parent = nullptr);

    /// Oldest first. Draws nothing without any.
    void setSamples(const QList<ThroughputSample>& samples);

    /// The latest rate.
    [[nodiscard]] QString spokenValue() const override;
    [[nodiscard]] QSize sizeHint() const override;

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    QList<ThroughputSample> samples_;
};

} // namespace fetra
