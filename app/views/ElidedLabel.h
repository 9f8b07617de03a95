#pragma once

#include <QLabel>

namespace fetra {

/// A path or a name on one line: what does not fit is left out, in the middle unless told otherwise, and
/// shown as the tool tip.
class ElidedLabel final : public QLabel {
    Q_OBJECT

public:
    explicit ElidedLabel(QWidget* parent = nullptr);
    /// Leaves out what does not fit on the side of `mode`.
    ElidedLabel(Qt::TextElideMode mode, QWidget* parent);

    [[nodiscard]] QSize minimumSizeHint() const override;

protected:
    void paintEvent(QPaintEvent* event) override;
    bool event(QEvent* event) override;

private:
    const Qt::TextElideMode mode_;
};

} // namespace fetra
