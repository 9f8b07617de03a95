#include "app/views/SidebarModel.h"

#include <algorithm>

using namespace std::chrono_literals;

namespace fetra {

SidebarModel::SidebarModel(AppModel& model, QObject* parent)
    : QAbstractListModel(parent)
    , model_(model)
    , rows_(makeRows())
    , counting_(250ms, [this] { count(); }) {
    connect(&model_.manager(), &DownloadManager::changed, this, [this](DownloadManager::Field field) {
        if (isActive_ && field == DownloadManager::Field::items)
            count();
    });
    connect(&model_.list(), &ListWatch::itemChanged, this,
            [this](const DownloadManager::Item&, DownloadItem::Field field) {
                // The name decides the kind.
                if (isActive_ &&
                    (field == DownloadItem::Field::status || field == DownloadItem::Field::filename))
                    counting_.request();
            });
}

std::vector<SidebarModel::Row> SidebarModel::makeRows() {
    std::vector<Row> rows;
    const auto addSection = [&rows](const QString& title, std::span<const DownloadFilter> filters) {
        rows.push_back({.filter = {}, .title = title});
        for (const DownloadFilter& filter : filters)
            rows.push_back({.filter = filter, .title = filter.title()});
    };
    addSection(tr("Downloads"), DownloadFilter::stages());
    addSection(tr("Kinds"), DownloadFilter::kinds());
    return rows;
}

void SidebarModel::setActive(bool active) {
    isActive_ = active;
    if (active)
        count();
    else
        counting_.cancel();
}

void SidebarModel::count() {
    const DownloadFilterCounts before =
        std::exchange(counts_, DownloadFilter::counts(model_.manager().items()));
    for (int row = 0; row < rowCount(); ++row)
        if (const auto filter = filterAt(row); filter && before[*filter] != counts_[*filter])
            Q_EMIT dataChanged(index(row), index(row), {countRole, Qt::AccessibleTextRole});
}

std::optional<DownloadFilter> SidebarModel::filterAt(int row) const {
    return rows_.at(static_cast<size_t>(row)).filter;
}

int SidebarModel::rowOf(const DownloadFilter& filter) const {
    return static_cast<int>(std::ranges::find(rows_, std::optional(filter), &Row::filter) - rows_.begin());
}

int SidebarModel::rowCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : static_cast<int>(rows_.size());
}

Qt::ItemFlags SidebarModel::flags(const QModelIndex& index) const {
    if (!index.isValid() || !filterAt(index.row()))
        return Qt::NoItemFlags;
    return Qt::ItemIsEnabled | Qt::ItemIsSelectable | Qt::ItemNeverHasChildren;
}

QVariant SidebarModel::data(const QModelIndex& index, int role) const {
    if (!checkIndex(index, CheckIndexOption::IndexIsValid))
        return {};
    const Row& row = rows_.at(static_cast<size_t>(index.row()));
    if (role == Qt::DisplayRole)
        return row.title;
    if (role == headingRole)
        return !row.filter;
    if (!row.filter)
        return {};
    const qint64 count = counts_[*row.filter];
    switch (role) {
    case Qt::ToolTipRole:
        return row.title;
    case Qt::AccessibleTextRole:
        return (count == 1 ? tr("%1, %2 download") : tr("%1, %2 downloads")).arg(row.title).arg(count);
    case symbolRole:
        return row.filter->symbol();
    case countRole:
        return count;
    default:
        return {};
    }
}

} // namespace fetra
