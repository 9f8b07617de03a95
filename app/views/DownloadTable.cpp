#include "app/views/DownloadTable.h"

#include "app/model/DownloadContextMenu.h"
#include "app/views/DownloadColumns.h"
#include "app/views/DownloadTableDelegate.h"
#include "app/views/Symbol.h"
#include "app/views/TableHeader.h"
#include "app/views/Theme.h"

#include <QContextMenuEvent>
#include <QKeyEvent>
#include <QMenu>
#include <QPainter>
#include <QScopedValueRollback>

#include <algorithm>

namespace fetra {

using namespace Qt::StringLiterals;

namespace {

constexpr qsizetype maxFollowedRows = 100;
constexpr int nameSection = static_cast<int>(DownloadColumn::name);
const QSet<int> modifierKeys{Qt::Key_Shift, Qt::Key_Control, Qt::Key_Alt, Qt::Key_AltGr, Qt::Key_Meta};

} // namespace

DownloadTable::DownloadTable(AppModel& model, QWidget* parent)
    : QTreeView(parent)
    , model_(model)
    , rows_(model) {
    setAccessibleName(tr("Downloads"));
    auto* const header = new TableHeader(this);
    setHeader(header);
    setModel(&rows_);
    columns_ = new DownloadColumns(*header);
    setItemDelegate(new DownloadTableDelegate(rows_, this));
    setFrameShape(QFrame::NoFrame);
    setRootIsDecorated(false);
    setItemsExpandable(false);
    setExpandsOnDoubleClick(false);
    setUniformRowHeights(true);
    setAllColumnsShowFocus(true);
    setEditTriggers(NoEditTriggers);
    setSelectionBehavior(SelectRows);
    setSelectionMode(ExtendedSelection);
    setVerticalScrollMode(ScrollPerPixel);
    setHorizontalScrollMode(ScrollPerPixel);
    viewport()->setAttribute(Qt::WA_Hover);
    setSortingEnabled(true);

    connect(&rows_, &DownloadTableModel::willRearrange, this, [this] {
        isShowingSelection_ = true;
        current_ = currentIndex().isValid() ? rows_.row(currentIndex().row()).id : QUuid();
        // It is shown anew afterwards; following each of many cells to its new place takes longer.
        if (model_.selection().size() > maxFollowedRows)
            selectionModel()->clearSelection();
    });
    connect(&rows_, &DownloadTableModel::didRearrange, this, [this] {
        isShowingSelection_ = false;
        showSelection();
        // A reset forgets it.
        if (const int row = rows_.indexOf(current_); row >= 0 && !currentIndex().isValid())
            selectionModel()->setCurrentIndex(rows_.index(row, 0), QItemSelectionModel::NoUpdate);
    });
    connect(&model_, &AppModel::changed, this, [this](AppModel::Field field) {
        if (field == AppModel::Field::selection && !isTakingSelection_ && isVisible())
            followSelection();
    });
}

DownloadTable::~DownloadTable() {
    // The rows go before the view does.
    setModel(nullptr);
}

void DownloadTable::resizeEvent(QResizeEvent* event) {
    QTreeView::resizeEvent(event);
    columns_->fit(viewport()->width());
}

void DownloadTable::changeEvent(QEvent* event) {
    QTreeView::changeEvent(event);
    if (event->type() == QEvent::FontChange)
        columns_->followFont();
}

// Work only while it can be seen

void DownloadTable::showEvent(QShowEvent* event) {
    rows_.setActive(true);
    showSelection();
    QTreeView::showEvent(event);
}

void DownloadTable::hideEvent(QHideEvent* event) {
    QTreeView::hideEvent(event);
    rows_.setActive(false);
}

// Selection

QSet<QUuid> DownloadTable::shownSelection() const {
    QSet<QUuid> ids;
    for (const QItemSelectionRange& range : selectionModel()->selection())
        for (int row = range.top(); row <= range.bottom(); ++row)
            ids.insert(rows_.row(row).id);
    return ids;
}

void DownloadTable::selectionChanged(const QItemSelection& selected, const QItemSelection& deselected) {
    QTreeView::selectionChanged(selected, deselected);
    if (isShowingSelection_)
        return;
    const QScopedValueRollback taking(isTakingSelection_, true);
    model_.setSelection(shownSelection());
}

void DownloadTable::showSelection() {
    std::vector<int> rows;
    for (const QUuid& id : model_.selection())
        if (const int row = rows_.indexOf(id); row >= 0)
            rows.push_back(row);
    std::ranges::sort(rows);
    QItemSelection selection;
    for (auto first = rows.begin(); first != rows.end();) {
        const auto last =
            std::adjacent_find(first, rows.end(), [](int row, int next) { return next != row + 1; });
        const int bottom = last == rows.end() ? rows.back() : *last;
        selection.append(
            QItemSelectionRange(rows_.index(*first, 0), rows_.index(bottom, downloadColumnCount - 1)));
        first = last == rows.end() ? last : std::next(last);
    }
    const QScopedValueRollback showing(isShowingSelection_, true);
    selectionModel()->select(selection, QItemSelectionModel::ClearAndSelect);
}

void DownloadTable::followSelection() {
    // What has just been added may be selected before it has a row.
    rows_.refreshNow();
    const QSet<QUuid> before = shownSelection();
    showSelection();
    int first = rows_.rowCount();
    for (const QUuid& id : shownSelection() - before)
        first = std::min(first, rows_.indexOf(id));
    if (first == rows_.rowCount())
        return;
    selectionModel()->setCurrentIndex(rows_.index(first, 0), QItemSelectionModel::NoUpdate);
    scrollTo(rows_.index(first, 0));
}

// Keyboard and mouse

void DownloadTable::keyPressEvent(QKeyEvent* event) {
    if (!modifierKeys.contains(event->key()))
        showsFocus_ = true;
    const bool isPlain = (event->modifiers() & ~Qt::KeypadModifier) == Qt::NoModifier;
    const auto once = [event](const auto& act) {
        if (!event->isAutoRepeat())
            act();
    };
    switch (isPlain ? event->key() : Qt::Key_unknown) {
    case Qt::Key_Space:
        once([this] { model_.toggle(model_.selectedItems()); });
        break;
    case Qt::Key_Return:
    case Qt::Key_Enter:
        once([this] { model_.primaryAction(model_.selection()); });
        break;
    case Qt::Key_Delete:
        once([this] { model_.requestRemoval(model_.selection(), false); });
        break;
    default:
        QTreeView::keyPressEvent(event);
    }
}

void DownloadTable::selectAll() {
    if (isVisible())
        QTreeView::selectAll();
}

void DownloadTable::keyboardSearch(const QString& search) {
    // It looks at the column of the current cell.
    if (currentIndex().isValid() && currentIndex().column() != nameSection)
        selectionModel()->setCurrentIndex(currentIndex().siblingAtColumn(nameSection),
                                          QItemSelectionModel::NoUpdate);
    QTreeView::keyboardSearch(search);
}

void DownloadTable::focusInEvent(QFocusEvent* event) {
    const Qt::FocusReason reason = event->reason();
    if (reason != Qt::ActiveWindowFocusReason && reason != Qt::PopupFocusReason)
        showsFocus_ = reason == Qt::TabFocusReason || reason == Qt::BacktabFocusReason ||
                      reason == Qt::ShortcutFocusReason;
    QTreeView::focusInEvent(event);
}

void DownloadTable::mousePressEvent(QMouseEvent* event) {
    showsFocus_ = false;
    QTreeView::mousePressEvent(event);
}

void DownloadTable::mouseDoubleClickEvent(QMouseEvent* event) {
    QTreeView::mouseDoubleClickEvent(event);
    const QModelIndex clicked = indexAt(event->position().toPoint());
    if (event->button() == Qt::LeftButton && clicked.isValid())
        model_.primaryAction({rows_.row(clicked.row()).id});
}

void DownloadTable::contextMenuEvent(QContextMenuEvent* event) {
    if (event->reason() != QContextMenuEvent::Mouse) {
        const QRect current = visualRect(currentIndex());
        showMenu(model_.selection(),
                 viewport()->rect().intersects(current) ? current.center() : viewport()->rect().topLeft());
        return;
    }
    const QModelIndex clicked = indexAt(event->pos());
    if (!clicked.isValid())
        return;
    const QUuid id = rows_.row(clicked.row()).id;
    showMenu(model_.selection().contains(id) ? model_.selection() : QSet{id}, event->pos());
}

void DownloadTable::showMenu(const QSet<QUuid>& ids, const QPoint& position) {
    if (ids.isEmpty())
        return;
    auto* menu = new QMenu(this);
    menu->setObjectName(u"downloads"_s);
    menu->setAttribute(Qt::WA_DeleteOnClose);
    const DownloadContextMenu choices(model_, ids);
    for (const DownloadContextMenu::Entry& entry : choices.entries()) {
        if (entry.beginsGroup)
            menu->addSeparator();
        QAction* action = menu->addAction(entry.title, this, entry.perform);
        if (!entry.symbol.isEmpty())
            action->setIcon(Symbol::icon(entry.symbol));
        action->setEnabled(entry.isEnabled);
    }
    menu->popup(viewport()->mapToGlobal(position));
}

// Drawing

void DownloadTable::drawRow(QPainter* painter, const QStyleOptionViewItem& option,
                            const QModelIndex& index) const {
    QStyleOptionViewItem cell = option;
    const QRect whole(0, option.rect.top(), viewport()->width(), option.rect.height());
    const QRectF plate = QRectF(whole).adjusted(Theme::tight, 1, -Theme::tight, -1);
    const bool isSelected = selectionModel()->isRowSelected(index.row(), index.parent());
    const bool isHovered =
        viewport()->underMouse() && whole.contains(viewport()->mapFromGlobal(QCursor::pos()));
    cell.state.setFlag(QStyle::State_Selected, isSelected);
    cell.state.setFlag(QStyle::State_Active, isActiveWindow());

    painter->save();
    painter->setRenderHint(QPainter::Antialiasing);
    painter->setPen(Qt::NoPen);
    if (isSelected || isHovered) {
        painter->setBrush(isSelected ? Theme::selection(palette(), isActiveWindow())
                                     : Theme::mixed(palette().color(QPalette::Text),
                                                    palette().color(QPalette::Base), 0.05));
        painter->drawRoundedRect(plate, Theme::radius, Theme::radius);
    }
    if (hasFocus() && showsFocus_ && index.row() == currentIndex().row()) {
        painter->setBrush(Qt::NoBrush);
        painter->setPen(QPen(Theme::accent(palette()), 1));
        painter->drawRoundedRect(plate.adjusted(0.5, 0.5, -0.5, -0.5), Theme::radius, Theme::radius);
    }
    painter->restore();

    for (int section = 0; section < downloadColumnCount; ++section) {
        if (header()->isSectionHidden(section))
            continue;
        cell.rect.setLeft(header()->sectionViewportPosition(section));
        cell.rect.setWidth(header()->sectionSize(section));
        if (cell.rect.intersects(whole))
            itemDelegate()->paint(painter, cell, index.siblingAtColumn(section));
    }
}

} // namespace fetra
