#include "app/views/ActiveDownloadDelegate.h"

#include "app/views/ActiveDownloadsModel.h"
#include "app/views/RowPainting.h"
#include "app/views/Theme.h"

namespace fetra {

void ActiveDownloadDelegate::paint(QPainter* painter, const QStyleOptionViewItem& option,
                                   const QModelIndex& index) const {
    const ActiveDownload& row = static_cast<const ActiveDownloadsModel&>(*index.model()).value(index.row());
    RowPainting::paint(*painter, option,
                       {.title = row.name,
                        .titleEnd = row.percent,
                        .titleEndColor = Theme::secondaryText(option.palette),
                        .detail = row.rate,
                        .detailEnd = row.peers,
                        .paintBar = [&](const QRectF& bar) {
                            RowPainting::paintBar(*painter, bar, row.fraction, Theme::accent(option.palette),
                                                  option.palette);
                        }});
}

QSize ActiveDownloadDelegate::sizeHint(const QStyleOptionViewItem& option, const QModelIndex&) const {
    return RowPainting::size(option);
}

} // namespace fetra
