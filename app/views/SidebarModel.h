#pragma once

#include "app/model/AppModel.h"
#include "app/views/Throttle.h"

#include <QAbstractListModel>

#include <optional>
#include <vector>

namespace fetra {

/// The filters of the list in two headed sections, with the number of downloads that each matches: counted
/// at once when the list changes, else at most four times a second. Main thread only.
class SidebarModel final : public QAbstractListModel {
    Q_OBJECT

public:
    enum Role {
        symbolRole = Qt::UserRole,
        countRole,
        /// True for the title of a section.
        headingRole,
    };

    /// `model` outlives this. Starts inactive, with nothing counted.
    explicit SidebarModel(AppModel& model, QObject* parent = nullptr);

    /// While inactive it does nothing, and its counts grow old.
    void setActive(bool active);

    /// Nothing for the title of a section.
    [[nodiscard]] std::optional<DownloadFilter> filterAt(int row) const;
    [[nodiscard]] int rowOf(const DownloadFilter& filter) const;

    [[nodiscard]] int rowCount(const QModelIndex& parent = {}) const override;
    [[nodiscard]] QVariant data(const QModelIndex& index, int role) const override;
    [[nodiscard]] Qt::ItemFlags flags(const QModelIndex& index) const override;

private:
    struct Row {
        std::optional<DownloadFilter> filter;
        QString title;
    };

    [[nodiscard]] static std::vector<Row> makeRows();
    void count();

    AppModel& model_;
    const std::vector<Row> rows_;
    DownloadFilterCounts counts_;
    bool isActive_ = false;
    Throttle counting_;
};

} // namespace fetra
