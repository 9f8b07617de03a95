#include "app/views/SegmentBar.h"

#include "app/views/ItemPainting.h"
#include "app/views/RefreshPace.h"

#include <QPainter>

namespace fetra {

SegmentBar::SegmentBar(Size size, QWidget* parent)
    : DrawnWidget(QAccessible::ProgressBar, parent)
    , size_(size)
    , pace_(new RefreshPace(*this, [this] {
        update();
        announceValue();
    })) {
    setAccessibleName(tr("Progress"));
    setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
}

void SegmentBar::setItem(const DownloadManager::Item& item) {
    if (item == item_)
        return;
    if (item_)
        item_->disconnect(this);
    item_ = item;
    if (item_)
        connect(item_.get(), &DownloadItem::changed, this, [this](DownloadItem::Field field) {
            using Field = DownloadItem::Field;
            if (field == Field::segments || field == Field::receivedBytes || field == Field::totalBytes ||
                field == Field::status || field == Field::activeConnections ||
                field == Field::connectionLimit)
                pace_->request();
        });
    pace_->hurry();
}

QString SegmentBar::spokenValue() const {
    return item_ ? ItemPainting::segmentBarValue(*item_) : QString();
}

QSize SegmentBar::sizeHint() const {
    const int line = fontMetrics().height();
    return {line * 8, size_ == Size::large ? line : line / 2};
}

QSize SegmentBar::minimumSizeHint() const {
    return {fontMetrics().height(), sizeHint().height()};
}

void SegmentBar::paintEvent(QPaintEvent*) {
    if (!item_)
        return;
    QPainter painter(this);
    ItemPainting::paintSegmentBar(
        painter, rect(), *item_,
        {.palette = palette(), .marksActiveEnds = !ItemPainting::wantsReducedMotion()});
}

} // namespace fetra
