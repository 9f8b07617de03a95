#include "app/views/LinkListModel.h"

#include "app/model/LinkGrabber.h"
#include "app/views/PlainToolTip.h"
#include "app/views/Symbol.h"

#include <algorithm>

namespace fetra {

LinkListModel::LinkListModel(LinkGrabber& grabber, QObject* parent)
    : QAbstractListModel(parent)
    , grabber_(grabber)
    , links_(grabber.links()) {
    connect(&grabber_, &LinkGrabber::changed, this, [this](LinkGrabber::Field field) {
        if (field == LinkGrabber::Field::links)
            takeLinks();
        else if (field == LinkGrabber::Field::checked && !links_.isEmpty())
            Q_EMIT dataChanged(index(0), index(rowCount() - 1), {Qt::CheckStateRole});
    });
}

int LinkListModel::rowCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : static_cast<int>(links_.size());
}

QVariant LinkListModel::data(const QModelIndex& index, int role) const {
    if (!checkIndex(index, CheckIndexOption::IndexIsValid))
        return {};
    const QUrl& link = links_.at(index.row());
    switch (role) {
    case Qt::DisplayRole:
        return LinkGrabber::row(link).title;
    case Qt::DecorationRole:
        return Symbol::icon(fileKindSymbol(LinkGrabber::row(link).kind));
    case Qt::ToolTipRole:
        return plainToolTip(LinkGrabber::row(link).help);
    case Qt::AccessibleDescriptionRole:
    case detailRole:
        return LinkGrabber::row(link).detail;
    case Qt::CheckStateRole:
        return grabber_.checked().contains(link) ? Qt::Checked : Qt::Unchecked;
    default:
        return {};
    }
}

bool LinkListModel::setData(const QModelIndex& index, const QVariant& value, int role) {
    if (role != Qt::CheckStateRole || !checkIndex(index, CheckIndexOption::IndexIsValid))
        return false;
    grabber_.setChecked({links_.at(index.row())}, value.toInt() == Qt::Checked);
    return true;
}

Qt::ItemFlags LinkListModel::flags(const QModelIndex& index) const {
    Qt::ItemFlags flags = QAbstractListModel::flags(index);
    if (index.isValid())
        flags |= Qt::ItemIsUserCheckable | Qt::ItemNeverHasChildren;
    return flags;
}

void LinkListModel::toggle(const QModelIndexList& indexes) {
    if (indexes.isEmpty())
        return;
    QList<QUrl> links;
    for (const QModelIndex& index : indexes)
        links.append(links_.at(index.row()));
    grabber_.setChecked(links, !grabber_.checked().contains(links.first()));
}

/// Whoever types changes one place of the text: only the rows between what is the same before and behind it
/// are other ones.
void LinkListModel::takeLinks() {
    const QList<QUrl>& now = grabber_.links();
    const qsizetype most = std::min(links_.size(), now.size());
    qsizetype before = 0;
    while (before < most && links_.at(before) == now.at(before))
        ++before;
    qsizetype behind = 0;
    while (behind < most - before && links_.at(links_.size() - 1 - behind) == now.at(now.size() - 1 - behind))
        ++behind;

    const auto first = static_cast<int>(before);
    if (const qsizetype gone = links_.size() - before - behind; gone > 0) {
        beginRemoveRows({}, first, static_cast<int>(before + gone) - 1);
        links_.remove(before, gone);
        endRemoveRows();
    }
    if (const qsizetype come = now.size() - before - behind; come > 0) {
        beginInsertRows({}, first, static_cast<int>(before + come) - 1);
        links_ = now;
        endInsertRows();
    }
}

} // namespace fetra
