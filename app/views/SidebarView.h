#pragma once

#include "app/views/SidebarModel.h"

#include <QListView>

namespace fetra {

/// The filters to choose from, beside the list of downloads; bound to the filter of the model.
class SidebarView final : public QListView {
    Q_OBJECT

public:
    /// In device-independent pixels.
    static constexpr int minWidth = 180;
    static constexpr int idealWidth = 190;
    static constexpr int maxWidth = 250;

    /// `model` outlives this.
    explicit SidebarView(AppModel& model, QWidget* parent = nullptr);
    ~SidebarView() override;

    [[nodiscard]] QSize sizeHint() const override;

protected:
    void showEvent(QShowEvent* event) override;
    void hideEvent(QHideEvent* event) override;
    /// Always one, whatever is pressed with it.
    [[nodiscard]] QItemSelectionModel::SelectionFlags selectionCommand(const QModelIndex& index,
                                                                       const QEvent* event) const override;
    void currentChanged(const QModelIndex& current, const QModelIndex& previous) override;

private:
    void showFilter();

    AppModel& model_;
    SidebarModel rows_;
};

} // namespace fetra
