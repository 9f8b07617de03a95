#include "app/views/DownloadTableDelegate.h"

#include "app/model/FileKind.h"
#include "app/views/ItemPainting.h"
#include "app/views/Symbol.h"
#include "app/views/Theme.h"
#include "transfer/ByteFormat.h"

#include <QFontMetrics>
#include <QLocale>
#include <QPainter>
#include <QPainterPath>
#include <QStyle>

#include <algorithm>

namespace fetra {

using namespace Qt::StringLiterals;

namespace {

constexpr int minRowHeight = 44;
constexpr int symbolSize = 20;
constexpr int progressHeight = 6;
constexpr int segmentsHeight = 10;
constexpr int barWidth = 88;

int widthOf(const QString& text, const QFont& font) {
    return QFontMetrics(font).horizontalAdvance(text);
}

/// Of the longest time that is likely, so that bars end where they end in every row.
int timeWidth(const QFont& font) {
    return widthOf(u"00h00m"_s, font);
}

/// One cell to be drawn.
struct Cell {
    QPainter& painter;
    const QStyleOptionViewItem& option;
    QRect rect;

    [[nodiscard]] QColor textColor(bool isMain) const {
        return isMain ? option.palette.color(QPalette::Text) : Theme::secondaryText(option.palette);
    }
    void drawText(const QString& text, const QRect& where, Qt::Alignment alignment, bool isMain) const {
        painter.setPen(textColor(isMain));
        painter.setFont(option.font);
        painter.drawText(where, static_cast<int>(alignment | Qt::TextSingleLine), text);
    }
    /// Where `part`, laid out from left to right, is in the user's reading direction.
    [[nodiscard]] QRect placed(const QRect& part) const {
        return QStyle::visualRect(option.direction, rect, part);
    }
    /// At the beginning of the cell, and in the middle of its height.
    [[nodiscard]] QRect box(int width, int height) const {
        return placed({rect.left(), rect.center().y() + 1 - height / 2, width, height});
    }
};

void paintName(const Cell& cell, const DownloadTableRow& row) {
    cell.painter.drawPixmap(cell.box(symbolSize, symbolSize).topLeft(),
                            Symbol::pixmap(fileKindSymbol(fileKind(*row.item)), symbolSize,
                                           cell.textColor(false),
                                           cell.painter.device()->devicePixelRatioF()));
    const QRect rest = cell.placed(cell.rect.adjusted(symbolSize + Theme::gap, 0, 0, 0));
    const QString name = QFontMetrics(cell.option.font).elidedText(row.name, Qt::ElideMiddle, rest.width());
    cell.drawText(name, rest, Qt::AlignVCenter | Qt::AlignLeading, true);
}

void paintProgress(const Cell& cell, const DownloadTableRow& row) {
    const int width = cell.rect.width() - Theme::gap - timeWidth(cell.option.font);
    const QRectF bar = cell.box(width, progressHeight);
    const qreal radius = bar.height() / 2;
    QPainterPath track;
    track.addRoundedRect(bar, radius, radius);
    cell.painter.fillPath(track, Theme::track(cell.option.palette));
    if (row.progress > 0) {
        const DownloadStatus status = row.item->isActive() ? DownloadStatus::downloading : row.item->status();
        // From the left in every language, as the bytes of the segments beside it.
        QRectF filled = bar;
        filled.setWidth(std::max(bar.width() * row.progress, bar.height()));
        QPainterPath path;
        path.addRoundedRect(filled, radius, radius);
        cell.painter.fillPath(path, Theme::statusColor(status, cell.option.palette));
    }
    cell.drawText(row.text(DownloadColumn::progress), cell.rect, Qt::AlignVCenter | Qt::AlignTrailing, false);
}

void paintSegments(const Cell& cell, const DownloadTableRow& row) {
    const QRectF bar = cell.box(cell.rect.width(), segmentsHeight);
    ItemPainting::paintSegmentBar(
        cell.painter, bar, *row.item,
        {.palette = cell.option.palette, .marksActiveEnds = !ItemPainting::wantsReducedMotion()});
}

void paintStatus(const Cell& cell, const DownloadTableRow& row) {
    const QFont font = Theme::smaller(cell.option.font);
    const QSize size = ItemPainting::pillSize(font);
    const QRectF pill = cell.box(std::min(size.width(), cell.rect.width()), size.height());
    cell.painter.setFont(font);
    ItemPainting::paintStatusPill(cell.painter, pill, row.item->status(), cell.option.palette, true);
}

} // namespace

DownloadTableDelegate::DownloadTableDelegate(const DownloadTableModel& model, QObject* parent)
    : QStyledItemDelegate(parent)
    , model_(model) {}

void DownloadTableDelegate::paint(QPainter* painter, const QStyleOptionViewItem& option,
                                  const QModelIndex& index) const {
    const DownloadTableRow& row = model_.row(index.row());
    const auto column = static_cast<DownloadColumn>(index.column());
    const Cell cell{
        .painter = *painter, .option = option, .rect = option.rect.adjusted(Theme::gap, 0, -Theme::gap, 0)};
    painter->save();
    painter->setClipRect(option.rect);
    painter->setRenderHint(QPainter::Antialiasing);
    switch (column) {
    case DownloadColumn::name:
        paintName(cell, row);
        break;
    case DownloadColumn::progress:
        paintProgress(cell, row);
        break;
    case DownloadColumn::segments:
        paintSegments(cell, row);
        break;
    case DownloadColumn::status:
        paintStatus(cell, row);
        break;
    case DownloadColumn::size:
    case DownloadColumn::speed:
    case DownloadColumn::connections:
    case DownloadColumn::added:
        const auto alignment = index.data(Qt::TextAlignmentRole).value<Qt::Alignment>();
        const QString text =
            QFontMetrics(option.font).elidedText(row.text(column), Qt::ElideRight, cell.rect.width());
        cell.drawText(text, cell.rect, alignment, column == DownloadColumn::speed);
        break;
    }
    painter->restore();
}

QSize DownloadTableDelegate::sizeHint(const QStyleOptionViewItem& option, const QModelIndex& index) const {
    const int height = std::max(minRowHeight, QFontMetrics(option.font).height() + 3 * Theme::gap);
    const auto column = static_cast<DownloadColumn>(index.column());
    const int text = widthOf(model_.row(index.row()).text(column), option.font) + 2 * Theme::gap;
    return {std::max(usualWidth(column, option.font), text), height};
}

int DownloadTableDelegate::usualWidth(DownloadColumn column, const QFont& font) {
    // Texts are seldom exactly as wide as the sum of their letters.
    constexpr int margins = 2 * Theme::gap + Theme::tight;
    static const QDateTime widestTime(QDate(2028, 11, 28), QTime(22, 58, 58));
    switch (column) {
    case DownloadColumn::name:
        return 24 * widthOf(u"x"_s, font) + symbolSize + Theme::gap + margins;
    case DownloadColumn::size:
        return widthOf(u"0000.00 MB"_s, font) + margins;
    case DownloadColumn::progress:
        return barWidth + Theme::gap + timeWidth(font) + margins;
    case DownloadColumn::speed:
        return widthOf(u"0000.00 MB/s"_s, font) + margins;
    case DownloadColumn::segments:
        return barWidth + margins;
    case DownloadColumn::connections:
        return widthOf(u"00 peers, 00 seeds"_s, font) + margins;
    case DownloadColumn::status:
        return ItemPainting::pillSize(Theme::smaller(font)).width() + margins;
    case DownloadColumn::added:
        return widthOf(QLocale().toString(widestTime, QLocale::ShortFormat), font) + margins;
    }
    return margins;
}

} // namespace fetra
