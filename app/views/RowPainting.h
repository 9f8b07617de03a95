#pragma once

#include <QColor>
#include <QPainter>
#include <QStyleOptionViewItem>

#include <functional>

/// Rows of two lines above a thin bar, for lists in narrow panes.
namespace fetra::RowPainting {

struct Row {
    QString title;
    /// At the other end of the line.
    QString titleEnd;
    QColor titleEndColor;
    QString detail;
    QString detailEnd;
    std::function<void(const QRectF&)> paintBar;
};

void paint(QPainter& painter, const QStyleOptionViewItem& option, const Row& row);
[[nodiscard]] QSize size(const QStyleOptionViewItem& option);

/// `fraction` from 0 to 1.
void paintBar(QPainter& painter, const QRectF& rect, double fraction, const QColor& color,
              const QPalette& palette);

} // namespace fetra::RowPainting
