#include "app/views/DownloadColumns.h"

#include "app/views/DownloadTableDelegate.h"
#include "app/views/TableHeader.h"

#include <QDataStream>
#include <QMenu>
#include <QScopedValueRollback>
#include <QSet>

#include <algorithm>

namespace fetra {

namespace {

constexpr int nameSection = static_cast<int>(DownloadColumn::name);
static_assert(nameSection == 0);
constexpr int widest = 10'000;
/// What goes where there is no room for all, the first one first.
constexpr std::array dispensable{DownloadColumn::added, DownloadColumn::connections, DownloadColumn::segments,
                                 DownloadColumn::size, DownloadColumn::speed};

} // namespace

DownloadColumns::DownloadColumns(TableHeader& header)
    : QObject(&header)
    , header_(header)
    , menu_(new QMenu(tr("&Columns"), &header)) {
    updateUsualWidths();
    setUsual();
    header_.setSectionResizeMode(nameSection, QHeaderView::Fixed);
    header_.setSortIndicator(static_cast<int>(DownloadColumn::added), Qt::DescendingOrder);
    connect(&header_, &QHeaderView::sectionResized, this, [this](int section, int, int width) {
        if (isFitting_ || section == nameSection)
            return;
        widthOf(section) = width;
        fitNames();
    });
    makeMenu();
    header_.setContextMenuPolicy(Qt::CustomContextMenu);
    connect(&header_, &QHeaderView::customContextMenuRequested, this,
            [this](const QPoint& position) { menu_->popup(header_.mapToGlobal(position)); });
}

// The choice of the user

void DownloadColumns::makeMenu() {
    QList<QAction*> columns;
    for (int section = nameSection + 1; section < downloadColumnCount; ++section) {
        QAction* const column =
            menu_->addAction(header_.model()->headerData(section, Qt::Horizontal).toString(), this,
                             [this, section](bool isShown) { choose(section, isShown); });
        column->setCheckable(true);
        columns.append(column);
    }
    menu_->addSeparator();
    menu_->addAction(tr("Usual Columns"), this, &DownloadColumns::setUsual);
    connect(menu_, &QMenu::aboutToShow, this, [this, columns] {
        for (int index = 0; index < columns.size(); ++index)
            columns.at(index)->setChecked(!header_.isSectionHidden(nameSection + 1 + index));
    });
}

void DownloadColumns::choose(int section, bool isShown) {
    chosen_.insert(section, isShown);
    fit();
}

void DownloadColumns::setUsual() {
    widths_ = usualWidths_;
    for (int section = 0; section < downloadColumnCount; ++section)
        header_.moveSection(header_.visualIndex(section), section);
    chosen_.clear();
    fit();
}

// Widths

void DownloadColumns::updateUsualWidths() {
    const QFont font = header_.font();
    header_.setMinimumSectionSize(DownloadTableDelegate::usualWidth(DownloadColumn::segments, font) / 2);
    for (int section = 0; section < downloadColumnCount; ++section) {
        int& usual = usualWidths_.at(static_cast<size_t>(section));
        const bool isUsual = widthOf(section) == usual;
        usual = std::max(DownloadTableDelegate::usualWidth(static_cast<DownloadColumn>(section), font),
                         header_.widthFor(section));
        if (isUsual)
            widthOf(section) = usual;
    }
}

void DownloadColumns::followFont() {
    updateUsualWidths();
    fit();
}

void DownloadColumns::fit(int width) {
    room_ = width;
    fit();
}

void DownloadColumns::fit() {
    int needed = 0;
    for (int section = 0; section < downloadColumnCount; ++section)
        if (chosen_.value(section, true))
            needed += widthOf(section);
    QSet<int> hidden;
    for (const DownloadColumn column : dispensable) {
        const int section = static_cast<int>(column);
        if (needed <= room_)
            break;
        if (chosen_.contains(section))
            continue;
        hidden.insert(section);
        needed -= widthOf(section);
    }
    const QScopedValueRollback fitting(isFitting_, true);
    for (int section = 0; section < downloadColumnCount; ++section) {
        header_.setSectionHidden(section, hidden.contains(section) || !chosen_.value(section, true));
        if (section != nameSection && !header_.isSectionHidden(section))
            header_.resizeSection(section, widthOf(section));
    }
    fitNames();
}

void DownloadColumns::fitNames() {
    const int others = header_.length() - header_.sectionSize(nameSection);
    header_.resizeSection(nameSection, std::max(room_ - others, widthOf(nameSection)));
}

// What is remembered

QByteArray DownloadColumns::saveState() const {
    QByteArray state;
    QDataStream stream(&state, QDataStream::WriteOnly);
    stream << header_.saveState() << QList(widths_.begin(), widths_.end()) << chosen_;
    return state;
}

bool DownloadColumns::restoreState(const QByteArray& state) {
    QDataStream stream(state);
    QByteArray columns;
    QList<int> widths;
    QMap<int, bool> chosen;
    stream >> columns >> widths >> chosen;
    const QScopedValueRollback fitting(isFitting_, true);
    if (stream.status() != QDataStream::Ok || widths.size() != downloadColumnCount ||
        !header_.restoreState(columns))
        return false;
    chosen_ = chosen;
    // A header forgets the widths of columns that have never been shown.
    std::ranges::transform(widths, widths_.begin(), [](int width) { return std::clamp(width, 0, widest); });
    // The smallest width came back too.
    updateUsualWidths();
    fit();
    return true;
}

} // namespace fetra
