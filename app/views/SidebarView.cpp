#include "app/views/SidebarView.h"

#include "app/views/Symbol.h"
#include "app/views/Theme.h"

#include <QLocale>
#include <QPainter>
#include <QStyle>
#include <QStyledItemDelegate>

#include <algorithm>

namespace fetra {

namespace {

constexpr int symbolSize = 18;

/// Draws a row of the sidebar.
class Delegate final : public QStyledItemDelegate {
public:
    using QStyledItemDelegate::QStyledItemDelegate;

    [[nodiscard]] QSize sizeHint(const QStyleOptionViewItem& option,
                                 const QModelIndex& index) const override {
        const int text = QFontMetrics(option.font).height();
        if (isHeading(index))
            return {0, text + (index.row() == 0 ? Theme::wide : Theme::wide + Theme::gap)};
        return {0, std::max(text, symbolSize) + 3 * Theme::tight};
    }

    void paint(QPainter* painter, const QStyleOptionViewItem& option,
               const QModelIndex& index) const override {
        painter->save();
        painter->setRenderHint(QPainter::Antialiasing);
        if (isHeading(index))
            paintHeading(*painter, option, index);
        else
            paintFilter(*painter, option, index);
        painter->restore();
    }

private:
    [[nodiscard]] static bool isHeading(const QModelIndex& index) {
        return index.data(SidebarModel::headingRole).toBool();
    }

    static void paintHeading(QPainter& painter, const QStyleOptionViewItem& option,
                             const QModelIndex& index) {
        painter.setFont(Theme::bold(Theme::smaller(option.font)));
        // That of `option` is for what is disabled.
        painter.setPen(Theme::secondaryText(option.widget->palette()));
        painter.drawText(option.rect.adjusted(Theme::wide, 0, -Theme::wide, -Theme::tight),
                         static_cast<int>(Qt::AlignLeading | Qt::AlignBottom),
                         index.data(Qt::DisplayRole).toString());
    }

    static void paintFilter(QPainter& painter, const QStyleOptionViewItem& option, const QModelIndex& index) {
        const QRectF plate = QRectF(option.rect).adjusted(Theme::gap, 1, -Theme::gap, -1);
        const bool isSelected = option.state & QStyle::State_Selected;
        if (isSelected || option.state & QStyle::State_MouseOver) {
            painter.setPen(Qt::NoPen);
            painter.setBrush(isSelected ? Theme::selection(option.palette, true)
                                        : Theme::track(option.palette));
            painter.setOpacity(isSelected ? 1 : 0.5);
            painter.drawRoundedRect(plate, Theme::radius, Theme::radius);
            painter.setOpacity(1);
        }
        if (isSelected && option.state & QStyle::State_HasFocus) {
            painter.setPen(QPen(Theme::accent(option.palette), 1));
            painter.setBrush(Qt::NoBrush);
            painter.drawRoundedRect(plate.adjusted(0.5, 0.5, -0.5, -0.5), Theme::radius, Theme::radius);
        }

        const QRect inner = option.rect.adjusted(Theme::wide, 0, -Theme::wide, 0);
        const QColor text = option.palette.color(QPalette::WindowText);
        const auto placed = [&option](const QRect& rect) {
            return QStyle::visualRect(option.direction, option.rect, rect);
        };
        const QRect symbol(inner.left(), inner.center().y() + 1 - symbolSize / 2, symbolSize, symbolSize);
        painter.drawPixmap(
            placed(symbol).topLeft(),
            Symbol::pixmap(index.data(SidebarModel::symbolRole).toString(), symbolSize,
                           isSelected ? Theme::accent(option.palette) : Theme::secondaryText(option.palette),
                           painter.device()->devicePixelRatioF()));

        const QString count = QLocale().toString(index.data(SidebarModel::countRole).toLongLong());
        const QFontMetrics metrics(option.font);
        painter.setFont(option.font);
        painter.setPen(Theme::secondaryText(option.palette));
        painter.drawText(inner, static_cast<int>(Qt::AlignVCenter | Qt::AlignTrailing), count);

        const QRect title =
            inner.adjusted(symbolSize + Theme::gap, 0, -metrics.horizontalAdvance(count) - Theme::gap, 0);
        painter.setPen(text);
        painter.drawText(
            placed(title), static_cast<int>(Qt::AlignVCenter | Qt::AlignLeading | Qt::TextSingleLine),
            metrics.elidedText(index.data(Qt::DisplayRole).toString(), Qt::ElideRight, title.width()));
    }
};

} // namespace

SidebarView::SidebarView(AppModel& model, QWidget* parent)
    : QListView(parent)
    , model_(model)
    , rows_(model) {
    setAccessibleName(tr("Download filters"));
    setItemDelegate(new Delegate(this));
    setFrameShape(QFrame::NoFrame);
    setEditTriggers(NoEditTriggers);
    setSelectionMode(SingleSelection);
    setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    setVerticalScrollMode(ScrollPerPixel);
    setMinimumWidth(minWidth);
    setMaximumWidth(maxWidth);
    viewport()->setAttribute(Qt::WA_Hover);
    viewport()->setBackgroundRole(QPalette::Window);
    setModel(&rows_);
    showFilter();
    connect(&model_, &AppModel::changed, this, [this](AppModel::Field field) {
        if (field == AppModel::Field::filter)
            showFilter();
    });
}

SidebarView::~SidebarView() {
    // The rows go before the view does.
    setModel(nullptr);
}

QSize SidebarView::sizeHint() const {
    const QFontMetrics metrics(font());
    int longest = 0;
    for (int row = 0; row < rows_.rowCount(); ++row)
        longest = std::max(longest, metrics.horizontalAdvance(rows_.index(row).data().toString()));
    const int count = metrics.horizontalAdvance(QLocale().toString(9999));
    const int whole = 2 * Theme::wide + symbolSize + Theme::gap + longest + Theme::gap + count;
    return {std::clamp(whole, idealWidth, maxWidth), QListView::sizeHint().height()};
}

void SidebarView::showEvent(QShowEvent* event) {
    rows_.setActive(true);
    QListView::showEvent(event);
}

void SidebarView::hideEvent(QHideEvent* event) {
    QListView::hideEvent(event);
    rows_.setActive(false);
}

QItemSelectionModel::SelectionFlags SidebarView::selectionCommand(const QModelIndex& index,
                                                                  const QEvent*) const {
    return index.isValid() ? QItemSelectionModel::ClearAndSelect : QItemSelectionModel::NoUpdate;
}

void SidebarView::showFilter() {
    setCurrentIndex(rows_.index(rows_.rowOf(model_.filter().value_or(DownloadFilter::all))));
}

void SidebarView::currentChanged(const QModelIndex& current, const QModelIndex& previous) {
    QListView::currentChanged(current, previous);
    if (!current.isValid())
        return;
    const std::optional<DownloadFilter> chosen = rows_.filterAt(current.row());
    if (chosen && *chosen != model_.filter().value_or(DownloadFilter::all))
        model_.setFilter(chosen);
}

} // namespace fetra
