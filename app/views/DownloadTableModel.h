#pragma once

#include "app/model/AppModel.h"
#include "app/views/DownloadTableRow.h"
#include "app/views/Throttle.h"

#include <QAbstractTableModel>
#include <QCollator>
#include <QHash>

#include <bitset>
#include <memory>
#include <vector>

namespace fetra {

/// The downloads that filter and search let through, as the rows of a table in the order of one of its
/// columns; first by the time of adding, newest first.
///
/// Tells of changed cells at most ten times a second, and moves rows for the sake of values that change all
/// the time at most once a second. Main thread only.
class DownloadTableModel final : public QAbstractTableModel {
    Q_OBJECT

public:
    /// `model` outlives this. Starts inactive and empty.
    explicit DownloadTableModel(AppModel& model, QObject* parent = nullptr);

    /// While inactive it keeps the rows it has, and does nothing.
    void setActive(bool active);
    /// Takes in at once what is due in a moment: another list, filter or search.
    void refreshNow() { rearranging_.flush(); }

    [[nodiscard]] const DownloadTableRow& row(int index) const {
        return *rows_.at(static_cast<size_t>(index));
    }
    /// -1 without a row.
    [[nodiscard]] int indexOf(const QUuid& id) const { return indices_.value(id, -1); }

    [[nodiscard]] int rowCount(const QModelIndex& parent = {}) const override;
    [[nodiscard]] int columnCount(const QModelIndex& parent = {}) const override;
    [[nodiscard]] QVariant data(const QModelIndex& index, int role) const override;
    [[nodiscard]] QVariant headerData(int section, Qt::Orientation orientation, int role) const override;
    void sort(int column, Qt::SortOrder order) override;

Q_SIGNALS:
    /// Around everything that adds, removes or moves rows: what is selected meanwhile is not the user's
    /// doing.
    void willRearrange();
    void didRearrange();

private:
    using Columns = std::bitset<downloadColumnCount>;
    using Row = std::shared_ptr<DownloadTableRow>;
    using Rows = std::vector<Row>;
    using Indices = QHash<QUuid, int>;
    /// First and last one.
    using Range = std::pair<int, int>;

    [[nodiscard]] static Columns columnsShowing(DownloadItem::Field field);

    void noteChange(const DownloadManager::Item& item, DownloadItem::Field field);
    [[nodiscard]] bool decidesMembership(DownloadItem::Field field) const;
    void tellOfEveryCell();
    void showChanges();
    void rearrange();
    [[nodiscard]] Rows wantedRows();
    void sortRows(Rows& rows);
    void apply(const Rows& wanted);
    void reorder(const Rows& kept);
    void insert(const Rows& wanted, const std::vector<Range>& ranges);
    void remove(const std::vector<Range>& ranges);

    AppModel& model_;
    QCollator collator_;
    Rows rows_;
    Indices indices_;
    DownloadColumn sortColumn_ = DownloadColumn::added;
    Qt::SortOrder sortOrder_ = Qt::DescendingOrder;
    bool isActive_ = false;

    QHash<DownloadManager::Item, Columns> changed_;
    bool isRearrangingDue_ = false;
    Throttle showing_;
    Throttle rearranging_;
    Throttle resorting_;
};

} // namespace fetra
