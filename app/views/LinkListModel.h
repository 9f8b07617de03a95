#pragma once

#include <QAbstractListModel>
#include <QUrl>

namespace fetra {

class LinkGrabber;

/// The links of a grabber as rows with check boxes. Rows stay what they are while links come and go around
/// them.
class LinkListModel final : public QAbstractListModel {
    Q_OBJECT

public:
    static constexpr int detailRole = Qt::UserRole;

    /// `grabber` outlives this.
    explicit LinkListModel(LinkGrabber& grabber, QObject* parent = nullptr);

    [[nodiscard]] int rowCount(const QModelIndex& parent = {}) const override;
    [[nodiscard]] QVariant data(const QModelIndex& index, int role) const override;
    bool setData(const QModelIndex& index, const QVariant& value, int role) override;
    [[nodiscard]] Qt::ItemFlags flags(const QModelIndex& index) const override;

    /// All at once, as is the wish for the first of them.
    void toggle(const QModelIndexList& indexes);

private:
    void takeLinks();

    LinkGrabber& grabber_;
    QList<QUrl> links_;
};

} // namespace fetra
