#pragma once

#include <QListView>

namespace fetra {

/// A list without a frame that is as high as its rows, and scrolls once there are more than `mostRows` of
/// them. For rows of one height, painted by a delegate.
class FittingListView final : public QListView {
    Q_OBJECT

public:
    explicit FittingListView(int mostRows, QWidget* parent = nullptr);

    void setModel(QAbstractItemModel* model) override;
    [[nodiscard]] QSize sizeHint() const override;
    [[nodiscard]] QSize minimumSizeHint() const override;
    /// Where the current row is: an area around it that scrolls shows that row rather than the whole list.
    [[nodiscard]] QVariant inputMethodQuery(Qt::InputMethodQuery query) const override;

protected:
    void currentChanged(const QModelIndex& current, const QModelIndex& previous) override;

private:
    const int mostRows_;
};

} // namespace fetra
