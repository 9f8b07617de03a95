#include "app/views/StatusBarView.h"

#include "app/views/ElidedLabel.h"
#include "app/views/Theme.h"
#include "transfer/ByteFormat.h"

#include <QEvent>
#include <QHBoxLayout>
#include <QLabel>

#include <utility>

using namespace std::chrono_literals;

namespace fetra {

namespace {

/// As wide as any rate of today.
constexpr double widestRate = 1023.99 * 1024 * 1024;

} // namespace

StatusBarView::StatusBarView(AppModel& model, QWidget* parent)
    : QWidget(parent)
    , model_(model)
    , stages_(new ElidedLabel(this))
    , total_(new QLabel(this))
    , down_(new QLabel(this))
    , up_(new QLabel(this))
    , refreshing_(250ms, [this] { refresh(); }) {
    auto* line = new QHBoxLayout(this);
    line->setContentsMargins(Theme::wide, Theme::tight, Theme::wide, Theme::tight);
    line->setSpacing(0);
    line->addWidget(stages_);
    line->addSpacing(Theme::wide);
    line->addWidget(total_);
    line->addStretch();
    line->addWidget(down_);
    line->addSpacing(Theme::gap);
    line->addWidget(up_);
    for (QLabel* label : {stages_, total_, down_, up_}) {
        label->setFont(Theme::smaller(font()));
        label->setTextFormat(Qt::PlainText);
    }
    for (QLabel* label : {down_, up_})
        label->setAlignment(Qt::AlignRight | Qt::AlignVCenter);
    reserveWidths();

    connect(&model_.manager(), &DownloadManager::changed, this, [this](DownloadManager::Field field) {
        if (field == DownloadManager::Field::items)
            noteChange(true);
    });
    connect(&model_.list(), &ListWatch::itemChanged, this,
            [this](const DownloadManager::Item&, DownloadItem::Field field) {
                if (field == DownloadItem::Field::status)
                    noteChange(true);
                else if (field == DownloadItem::Field::bytesPerSecond ||
                         field == DownloadItem::Field::uploadBytesPerSecond)
                    noteChange(false);
            });
}

void StatusBarView::noteChange(bool ofCounts) {
    areCountsOld_ |= ofCounts;
    if (isVisible())
        refreshing_.request();
}

void StatusBarView::refresh() {
    const DownloadManager& manager = model_.manager();
    if (std::exchange(areCountsOld_, false)) {
        const DownloadFilterCounts counts = DownloadFilter::counts(manager.items());
        stages_->setText(tr("%1 active · %2 queued · %3 completed")
                             .arg(counts[DownloadFilter::active])
                             .arg(counts[DownloadFilter::queued])
                             .arg(counts[DownloadFilter::completed]));
        total_->setText(tr("%1 downloads").arg(manager.items().size()));
        fit();
    }
    down_->setText(tr("down %1").arg(ByteFormat::rate(manager.totalBytesPerSecond())));
    up_->setText(tr("  up %1").arg(ByteFormat::rate(manager.totalUploadBytesPerSecond())));
}

void StatusBarView::reserveWidths() {
    const QFontMetrics metrics(down_->font());
    const QString rate = ByteFormat::rate(widestRate);
    down_->setMinimumWidth(metrics.horizontalAdvance(tr("down %1").arg(rate)));
    up_->setMinimumWidth(metrics.horizontalAdvance(tr("  up %1").arg(rate)));
}

void StatusBarView::fit() {
    const QMargins margins = layout()->contentsMargins();
    const int room =
        width() - margins.left() - margins.right() - Theme::gap - down_->minimumWidth() - up_->minimumWidth();
    total_->setVisible(stages_->sizeHint().width() + Theme::wide + total_->sizeHint().width() <= room);
}

void StatusBarView::resizeEvent(QResizeEvent* event) {
    QWidget::resizeEvent(event);
    fit();
}

void StatusBarView::showEvent(QShowEvent* event) {
    refresh();
    QWidget::showEvent(event);
}

void StatusBarView::hideEvent(QHideEvent* event) {
    QWidget::hideEvent(event);
    refreshing_.cancel();
}

void StatusBarView::changeEvent(QEvent* event) {
    QWidget::changeEvent(event);
    if (event->type() != QEvent::FontChange)
        return;
    for (QLabel* label : {stages_, total_, down_, up_})
        label->setFont(Theme::smaller(font()));
    reserveWidths();
    fit();
}

} // namespace fetra
