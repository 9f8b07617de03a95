#include "app/views/LinkListView.h"

#include "app/views/LinkListModel.h"
#include "app/views/Theme.h"

#include <QApplication>
#include <QKeyEvent>
#include <QPainter>
#include <QStyledItemDelegate>

#include <algorithm>

namespace fetra {

namespace {

/// The title at the left, and more quietly at the right where the link leads.
class Delegate final : public QStyledItemDelegate {
public:
    using QStyledItemDelegate::QStyledItemDelegate;

    [[nodiscard]] QSize sizeHint(const QStyleOptionViewItem& option,
                                 const QModelIndex& index) const override {
        QSize size = QStyledItemDelegate::sizeHint(option, index);
        size.setHeight(std::max(size.height(), option.fontMetrics.height() + Theme::gap));
        return size;
    }

    void paint(QPainter* painter, const QStyleOptionViewItem& given,
               const QModelIndex& index) const override {
        QStyleOptionViewItem option = given;
        initStyleOption(&option, index);
        const QStyle* style = option.widget ? option.widget->style() : QApplication::style();
        QRect text = style->subElementRect(QStyle::SE_ItemViewItemText, &option, option.widget);
        const QString title = option.text;
        option.text.clear();
        const bool hasFocus = option.state & QStyle::State_HasFocus;
        option.state &= ~QStyle::State_HasFocus;
        style->drawControl(QStyle::CE_ItemViewItem, &option, painter, option.widget);
        if (hasFocus)
            drawFocus(*painter, *style, option);

        text.adjust(Theme::tight, 0, -Theme::gap, 0);
        const QString detail = index.data(LinkListModel::detailRole).toString();
        // Characters may be a fraction of a pixel wider.
        const int detailWidth =
            std::min(option.fontMetrics.horizontalAdvance(detail) + Theme::tight, text.width() / 2);
        QRect titleRect = text;
        titleRect.setWidth(text.width() - detailWidth - (detail.isEmpty() ? 0 : Theme::wide));
        const bool isSelected = option.state & QStyle::State_Selected;
        const QPalette::ColorGroup group =
            option.state & QStyle::State_Active ? QPalette::Active : QPalette::Inactive;
        const QColor color =
            option.palette.color(group, isSelected ? QPalette::HighlightedText : QPalette::Text);
        painter->save();
        painter->setPen(color);
        drawLine(*painter, option, titleRect, Qt::AlignLeading, title);
        if (!isSelected)
            painter->setPen(Theme::secondaryText(option.palette));
        QRect detailRect = text;
        detailRect.setLeft(text.right() + 1 - detailWidth);
        drawLine(*painter, option, detailRect, Qt::AlignTrailing, detail);
        painter->restore();
    }

private:
    /// Around the whole row, as no style does for an item without text.
    static void drawFocus(QPainter& painter, const QStyle& style, const QStyleOptionViewItem& option) {
        QStyleOptionFocusRect focus;
        focus.QStyleOption::operator=(option);
        focus.state |= QStyle::State_KeyboardFocusChange | QStyle::State_HasFocus;
        focus.backgroundColor = option.palette.color(
            option.state & QStyle::State_Selected ? QPalette::Highlight : QPalette::Base);
        style.drawPrimitive(QStyle::PE_FrameFocusRect, &focus, &painter, option.widget);
    }

    static void drawLine(QPainter& painter, const QStyleOptionViewItem& option, const QRect& rect,
                         Qt::Alignment alignment, const QString& text) {
        painter.drawText(QStyle::visualRect(option.direction, option.rect, rect),
                         static_cast<int>(alignment | Qt::AlignVCenter) | Qt::TextSingleLine,
                         option.fontMetrics.elidedText(text, Qt::ElideMiddle, rect.width()));
    }
};

} // namespace

LinkListView::LinkListView(LinkListModel& model, QWidget* parent)
    : QListView(parent)
    , model_(model) {
    setModel(&model);
    setItemDelegate(new Delegate(this));
    setUniformItemSizes(true);
    setSelectionMode(QAbstractItemView::ExtendedSelection);
    setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    setTextElideMode(Qt::ElideMiddle);
    setAccessibleName(tr("Links"));
}

void LinkListView::keyPressEvent(QKeyEvent* event) {
    if (event->key() != Qt::Key_Space || event->modifiers() != Qt::NoModifier)
        return QListView::keyPressEvent(event);
    QModelIndexList indexes = selectionModel()->selectedIndexes();
    std::sort(indexes.begin(), indexes.end());
    if (indexes.isEmpty() && currentIndex().isValid())
        indexes.append(currentIndex());
    model_.toggle(indexes);
}

void LinkListView::paintEvent(QPaintEvent* event) {
    QListView::paintEvent(event);
    if (model_.rowCount() > 0)
        return;
    QPainter painter(viewport());
    painter.setPen(Theme::secondaryText(palette()));
    painter.drawText(viewport()->rect().adjusted(Theme::wide, 0, -Theme::wide, 0),
                     Qt::AlignCenter | Qt::TextWordWrap,
                     tr("HTTP, HTTPS, and magnet links will appear here."));
}

} // namespace fetra
