#pragma once

#include <QHeaderView>

namespace fetra {

/// The titles above the columns of a table, calm and without borders.
class TableHeader final : public QHeaderView {
    Q_OBJECT

public:
    explicit TableHeader(QWidget* parent);

    /// Room for the title and the mark of the column that is sorted by, in device-independent pixels.
    [[nodiscard]] int widthFor(int section) const;

protected:
    [[nodiscard]] QSize sizeHint() const override;
    void paintSection(QPainter* painter, const QRect& rect, int section) const override;
    void paintEvent(QPaintEvent* event) override;
};

} // namespace fetra
