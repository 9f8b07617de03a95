#include "app/views/TableHeader.h"

#include "app/views/Theme.h"

#include <QPainter>
#include <QPainterPath>
#include <QStyle>

namespace fetra {

namespace {

constexpr int arrowWidth = 7;
constexpr int arrowHeight = 4;

void drawArrow(QPainter& painter, const QPointF& middle, bool pointsUp) {
    const qreal tip = pointsUp ? -arrowHeight / 2.0 : arrowHeight / 2.0;
    QPainterPath path;
    path.moveTo(middle + QPointF(-arrowWidth / 2.0, -tip));
    path.lineTo(middle + QPointF(0, tip));
    path.lineTo(middle + QPointF(arrowWidth / 2.0, -tip));
    painter.drawPath(path);
}

} // namespace

TableHeader::TableHeader(QWidget* parent)
    : QHeaderView(Qt::Horizontal, parent) {
    setSectionsMovable(true);
    setSectionsClickable(true);
    setHighlightSections(false);
    setSortIndicatorShown(true);
    setFirstSectionMovable(true);
    setStretchLastSection(false);
}

int TableHeader::widthFor(int section) const {
    const QString title = model()->headerData(section, Qt::Horizontal, Qt::DisplayRole).toString();
    return QFontMetrics(Theme::smaller(font())).horizontalAdvance(title) + arrowWidth + 3 * Theme::gap;
}

QSize TableHeader::sizeHint() const {
    return {QHeaderView::sizeHint().width(), QFontMetrics(Theme::smaller(font())).height() + 2 * Theme::gap};
}

void TableHeader::paintSection(QPainter* painter, const QRect& rect, int section) const {
    const QRect inner = rect.adjusted(Theme::gap, 0, -Theme::gap, 0);
    const auto alignment =
        model()->headerData(section, Qt::Horizontal, Qt::TextAlignmentRole).value<Qt::Alignment>();
    const QString title = model()->headerData(section, Qt::Horizontal, Qt::DisplayRole).toString();
    const bool isSorted = section == sortIndicatorSection();
    const int arrow = isSorted ? arrowWidth + Theme::tight : 0;

    painter->save();
    painter->setRenderHint(QPainter::Antialiasing);
    painter->setFont(Theme::bold(Theme::smaller(font())));
    const QFontMetrics metrics(painter->font());
    const QString shown = metrics.elidedText(title, Qt::ElideRight, inner.width() - arrow);
    const int width = metrics.horizontalAdvance(shown);
    const bool isTrailing = alignment.testFlag(Qt::AlignTrailing);
    const int left = isTrailing ? inner.right() + 1 - width : inner.left();
    const auto placed = [this, &rect](const QRect& part) {
        return QStyle::visualRect(layoutDirection(), rect, part);
    };
    painter->setPen(isSorted ? palette().color(QPalette::WindowText) : Theme::secondaryText(palette()));
    painter->drawText(placed({left, inner.top(), width, inner.height()}),
                      static_cast<int>(Qt::AlignVCenter | Qt::AlignLeading | Qt::TextSingleLine), shown);
    if (isSorted) {
        const int arrowLeft = isTrailing ? left - Theme::tight - arrowWidth : left + width + Theme::tight;
        const QRectF place = placed({arrowLeft, inner.top(), arrowWidth, inner.height()});
        painter->setPen(QPen(painter->pen().color(), 1.4));
        drawArrow(*painter, {place.center().x(), rect.center().y() + 1.0},
                  sortIndicatorOrder() == Qt::AscendingOrder);
    }
    // Where the column can be made wider.
    painter->setRenderHint(QPainter::Antialiasing, false);
    painter->setPen(Theme::separator(palette()));
    const int edge = placed({rect.right(), rect.top(), 1, 1}).left();
    painter->drawLine(edge, rect.top() + Theme::gap, edge, rect.bottom() - Theme::gap);
    painter->restore();
}

void TableHeader::paintEvent(QPaintEvent* event) {
    {
        QPainter painter(viewport());
        painter.fillRect(viewport()->rect(), palette().color(QPalette::Base));
        painter.setPen(Theme::separator(palette()));
        painter.drawLine(0, height() - 1, width(), height() - 1);
    }
    QHeaderView::paintEvent(event);
}

} // namespace fetra
