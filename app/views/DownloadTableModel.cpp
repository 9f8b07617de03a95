#include "app/views/DownloadTableModel.h"

#include "app/views/PlainToolTip.h"

#include <QLocale>

#include <algorithm>
#include <array>

using namespace std::chrono_literals;

namespace fetra {

namespace {

/// Views take all at once more quickly than more pieces than these.
constexpr size_t maxPieces = 64;

constexpr unsigned long long bit(DownloadColumn column) {
    return 1ULL << static_cast<unsigned>(column);
}

DownloadColumn columnAt(int section) {
    return static_cast<DownloadColumn>(section);
}

/// Whether a transfer changes it all the time.
bool isLive(DownloadColumn column) {
    return column == DownloadColumn::progress || column == DownloadColumn::segments ||
           column == DownloadColumn::speed || column == DownloadColumn::connections;
}

bool isNumber(DownloadColumn column) {
    return column == DownloadColumn::size || column == DownloadColumn::speed ||
           column == DownloadColumn::connections;
}

/// Without a language there are no rules, and capitals would come before all small letters.
QLocale sortingLocale() {
    const QLocale locale = QLocale().collation();
    return locale.language() == QLocale::C ? QLocale(QLocale::English) : locale;
}

/// Runs of the indices of `rows` that are not in `others`.
template <typename Rows, typename Indices>
std::vector<std::pair<int, int>> missing(const Rows& rows, const Indices& others) {
    std::vector<std::pair<int, int>> ranges;
    for (int index = 0; index < static_cast<int>(rows.size()); ++index) {
        if (others.contains(rows[static_cast<size_t>(index)]->id))
            continue;
        if (!ranges.empty() && ranges.back().second == index - 1)
            ranges.back().second = index;
        else
            ranges.emplace_back(index, index);
    }
    return ranges;
}

template <typename Rows>
QHash<QUuid, int> indicesOf(const Rows& rows) {
    QHash<QUuid, int> indices;
    indices.reserve(static_cast<qsizetype>(rows.size()));
    for (int index = 0; const auto& row : rows)
        indices.insert(row->id, index++);
    return indices;
}

} // namespace

DownloadTableModel::DownloadTableModel(AppModel& model, QObject* parent)
    : QAbstractTableModel(parent)
    , model_(model)
    , collator_(sortingLocale())
    , showing_(100ms, [this] { showChanges(); })
    , rearranging_(0ms, [this] { rearrange(); })
    , resorting_(1s, [this] { rearrange(); }) {
    collator_.setNumericMode(true);
    collator_.setCaseSensitivity(Qt::CaseInsensitive);
    connect(&model_.list(), &ListWatch::itemChanged, this, &DownloadTableModel::noteChange);
    connect(&model_.manager(), &DownloadManager::changed, this, [this](DownloadManager::Field field) {
        if (isActive_ && field == DownloadManager::Field::items)
            rearranging_.request();
    });
    connect(&model_, &AppModel::changed, this, [this](AppModel::Field field) {
        if (isActive_ && (field == AppModel::Field::filter || field == AppModel::Field::search))
            rearranging_.request();
    });
}

void DownloadTableModel::setActive(bool active) {
    if (std::exchange(isActive_, active) == active)
        return;
    if (active) {
        for (const Row& row : rows_)
            row->update();
        tellOfEveryCell();
        rearrange();
    } else {
        changed_.clear();
        isRearrangingDue_ = false;
        for (Throttle* each : {&showing_, &rearranging_, &resorting_})
            each->cancel();
    }
}

// Reading

int DownloadTableModel::rowCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : static_cast<int>(rows_.size());
}

int DownloadTableModel::columnCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : downloadColumnCount;
}

QVariant DownloadTableModel::data(const QModelIndex& index, int role) const {
    if (!checkIndex(index, CheckIndexOption::IndexIsValid))
        return {};
    const DownloadTableRow& shown = row(index.row());
    const DownloadColumn column = columnAt(index.column());
    switch (role) {
    case Qt::DisplayRole:
        return shown.text(column);
    case Qt::ToolTipRole:
        return plainToolTip(shown.toolTip(column));
    case Qt::AccessibleTextRole:
        return shown.accessibleText(column);
    case Qt::TextAlignmentRole:
        return QVariant::fromValue(Qt::AlignVCenter | (isNumber(column) ? Qt::AlignRight : Qt::AlignLeft));
    default:
        return {};
    }
}

QVariant DownloadTableModel::headerData(int section, Qt::Orientation orientation, int role) const {
    static constexpr std::array titles{
        QT_TR_NOOP("Name"),     QT_TR_NOOP("Size"),        QT_TR_NOOP("Progress"), QT_TR_NOOP("Speed"),
        QT_TR_NOOP("Segments"), QT_TR_NOOP("Connections"), QT_TR_NOOP("Status"),   QT_TR_NOOP("Added"),
    };
    static_assert(titles.size() == downloadColumnCount);
    if (orientation != Qt::Horizontal || section < 0 || section >= downloadColumnCount)
        return {};
    if (role == Qt::DisplayRole)
        return tr(titles.at(static_cast<size_t>(section)));
    if (role == Qt::TextAlignmentRole)
        return QVariant::fromValue(Qt::AlignVCenter |
                                   (isNumber(columnAt(section)) ? Qt::AlignRight : Qt::AlignLeft));
    return {};
}

// Cells that change

DownloadTableModel::Columns DownloadTableModel::columnsShowing(DownloadItem::Field field) {
    using enum DownloadColumn;
    switch (field) {
    case DownloadItem::Field::filename:
        return bit(name);
    case DownloadItem::Field::totalBytes:
        return bit(size) | bit(progress) | bit(segments);
    case DownloadItem::Field::receivedBytes:
        return bit(progress);
    case DownloadItem::Field::bytesPerSecond:
        return bit(speed) | bit(progress);
    case DownloadItem::Field::segments:
        return bit(segments);
    case DownloadItem::Field::activeConnections:
    case DownloadItem::Field::connectionLimit:
    case DownloadItem::Field::peers:
    case DownloadItem::Field::seeds:
        return bit(connections);
    case DownloadItem::Field::errorMessage:
        return bit(status);
    case DownloadItem::Field::status:
        return bit(progress) | bit(speed) | bit(segments) | bit(connections) | bit(status);
    default:
        return {};
    }
}

void DownloadTableModel::noteChange(const DownloadManager::Item& item, DownloadItem::Field field) {
    const Columns columns = columnsShowing(field);
    if (!isActive_ || columns.none())
        return;
    changed_[item] |= columns;
    isRearrangingDue_ |= decidesMembership(field);
    showing_.request();
}

bool DownloadTableModel::decidesMembership(DownloadItem::Field field) const {
    const bool isFiltered = model_.filter().value_or(DownloadFilter::all) != DownloadFilter::all;
    return (field == DownloadItem::Field::status && isFiltered) ||
           (field == DownloadItem::Field::filename && (isFiltered || !model_.search().isEmpty()));
}

void DownloadTableModel::tellOfEveryCell() {
    if (!rows_.empty())
        Q_EMIT dataChanged(index(0, 0), index(rowCount() - 1, columnCount() - 1));
}

void DownloadTableModel::showChanges() {
    const QHash<DownloadManager::Item, Columns> changed = std::exchange(changed_, {});
    const bool areMany = static_cast<size_t>(changed.size()) > maxPieces;
    for (const auto& [item, columns] : changed.asKeyValueRange()) {
        const int changedRow = indexOf(item->id());
        if (changedRow < 0)
            continue;
        rows_[static_cast<size_t>(changedRow)]->update();
        for (int column = 0; column < downloadColumnCount && !areMany; ++column)
            if (columns.test(static_cast<size_t>(column)))
                Q_EMIT dataChanged(index(changedRow, column), index(changedRow, column));
        if (!columns.test(static_cast<size_t>(sortColumn_)))
            continue;
        if (isLive(sortColumn_))
            resorting_.request();
        else
            isRearrangingDue_ = true;
    }
    if (areMany)
        tellOfEveryCell();
    if (isRearrangingDue_)
        rearrange();
}

// Rows that come, go and move

void DownloadTableModel::sort(int column, Qt::SortOrder order) {
    if (column < 0 || column >= downloadColumnCount)
        return;
    sortColumn_ = columnAt(column);
    sortOrder_ = order;
    if (isActive_)
        rearrange();
}

void DownloadTableModel::rearrange() {
    isRearrangingDue_ = false;
    rearranging_.cancel();
    const Rows wanted = wantedRows();
    if (wanted == rows_)
        return;
    Q_EMIT willRearrange();
    apply(wanted);
    indices_ = indicesOf(rows_);
    Q_EMIT didRearrange();
}

DownloadTableModel::Rows DownloadTableModel::wantedRows() {
    const AppModel::Items items = model_.filteredItems();
    Rows wanted;
    wanted.reserve(static_cast<size_t>(items.size()));
    for (const AppModel::Item& item : items) {
        const int known = indexOf(item->id());
        wanted.push_back(known < 0 ? std::make_shared<DownloadTableRow>(item)
                                   : rows_[static_cast<size_t>(known)]);
        wanted.back()->position = static_cast<qsizetype>(wanted.size());
    }
    sortRows(wanted);
    return wanted;
}

void DownloadTableModel::sortRows(Rows& rows) {
    if (sortColumn_ == DownloadColumn::name)
        for (const Row& row : rows)
            if (!row->nameKey)
                row->nameKey = collator_.sortKey(row->name);
    const bool isDescending = sortOrder_ == Qt::DescendingOrder;
    // Rows that are alike stand newest first, unless they are sorted by age.
    const bool newestFirst = isDescending || sortColumn_ != DownloadColumn::added;
    std::ranges::sort(rows, [&](const Row& left, const Row& right) {
        const auto order = left->compare(*right, sortColumn_);
        if (order != 0)
            return isDescending ? order > 0 : order < 0;
        return newestFirst ? left->position > right->position : left->position < right->position;
    });
}

void DownloadTableModel::apply(const Rows& wanted) {
    const Indices wantedIndices = indicesOf(wanted);
    const std::vector<Range> gone = missing(rows_, wantedIndices);
    const std::vector<Range> added = missing(wanted, indices_);
    if (gone.size() + added.size() > maxPieces) {
        beginResetModel();
        rows_ = wanted;
        endResetModel();
        return;
    }
    remove(gone);
    Rows kept;
    kept.reserve(rows_.size());
    std::ranges::copy_if(wanted, std::back_inserter(kept),
                         [this](const Row& row) { return indices_.contains(row->id); });
    if (kept != rows_)
        reorder(kept);
    insert(wanted, added);
}

void DownloadTableModel::remove(const std::vector<Range>& ranges) {
    for (auto range = ranges.rbegin(); range != ranges.rend(); ++range) {
        beginRemoveRows({}, range->first, range->second);
        rows_.erase(rows_.begin() + range->first, rows_.begin() + range->second + 1);
        endRemoveRows();
    }
}

void DownloadTableModel::insert(const Rows& wanted, const std::vector<Range>& ranges) {
    for (const auto& [first, last] : ranges) {
        beginInsertRows({}, first, last);
        rows_.insert(rows_.begin() + first, wanted.begin() + first, wanted.begin() + last + 1);
        endInsertRows();
    }
}

void DownloadTableModel::reorder(const Rows& kept) {
    Q_EMIT layoutAboutToBeChanged({}, VerticalSortHint);
    const Indices places = indicesOf(kept);
    const QModelIndexList before = persistentIndexList();
    QModelIndexList after;
    after.reserve(before.size());
    for (const QModelIndex& each : before)
        after.append(index(places.value(row(each.row()).id), each.column()));
    rows_ = kept;
    changePersistentIndexList(before, after);
    Q_EMIT layoutChanged({}, VerticalSortHint);
}

} // namespace fetra
