#include "app/views/SegmentDelegate.h"

#include "app/views/RowPainting.h"
#include "app/views/SegmentListModel.h"
#include "app/views/Theme.h"

#include <QPainter>

namespace fetra {

namespace {

using InspectorFacts::SegmentState;

DownloadStatus looksLike(SegmentState state) {
    switch (state) {
    case SegmentState::done:
        return DownloadStatus::completed;
    case SegmentState::active:
        return DownloadStatus::downloading;
    case SegmentState::waiting:
        break;
    }
    return DownloadStatus::queued;
}

} // namespace

void SegmentDelegate::paint(QPainter* painter, const QStyleOptionViewItem& option,
                            const QModelIndex& index) const {
    const auto& model = static_cast<const SegmentListModel&>(*index.model());
    const InspectorFacts::SegmentFacts facts = model.facts(index.row());
    const QColor color = Theme::statusColor(looksLike(facts.state), option.palette);
    const QString title =
        facts.source.isEmpty() ? facts.title : QStringLiteral("%1, %2").arg(facts.title, facts.source);
    RowPainting::paint(*painter, option,
                       {.title = title,
                        .titleEnd = InspectorFacts::segmentStateText(facts.state),
                        .titleEndColor = color,
                        .detail = facts.range,
                        .detailEnd = facts.percent,
                        .paintBar = [&](const QRectF& bar) {
                            RowPainting::paintBar(*painter, bar, model.fraction(index.row()), color,
                                                  option.palette);
                        }});
}

QSize SegmentDelegate::sizeHint(const QStyleOptionViewItem& option, const QModelIndex&) const {
    return RowPainting::size(option);
}

} // namespace fetra
