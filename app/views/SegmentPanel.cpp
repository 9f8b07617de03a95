#include "app/views/SegmentPanel.h"

#include "app/views/FittingListView.h"
#include "app/views/SegmentBar.h"
#include "app/views/SegmentDelegate.h"
#include "app/views/SegmentListModel.h"
#include "app/views/Theme.h"
#include "app/views/ToneLabel.h"

#include <QVBoxLayout>

namespace fetra {

namespace {

/// All of them stand in the pane, which scrolls, as long as there are no more than connections may open.
constexpr auto mostRows = static_cast<int>(InspectorFacts::maxConnections);

} // namespace

SegmentPanel::SegmentPanel(QWidget* parent)
    : QWidget(parent)
    , bar_(new SegmentBar(SegmentBar::Size::large, this))
    , model_(new SegmentListModel(this))
    , list_(new FittingListView(mostRows, this))
    , note_(new ToneLabel(ToneLabel::Tone::secondary, this)) {
    list_->setItemDelegate(new SegmentDelegate(list_));
    list_->setModel(model_);
    list_->setAccessibleName(tr("Segments"));
    auto* const layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(Theme::gap);
    layout->addWidget(bar_);
    layout->addWidget(note_);
    layout->addWidget(list_);
}

void SegmentPanel::refresh(const DownloadManager::Item& item) {
    bar_->setItem(item);
    model_->refresh(item);
    const bool isEmpty = model_->rowCount() == 0;
    note_->setText(InspectorFacts::withoutSegments(*item));
    note_->setVisible(isEmpty);
    list_->setHidden(isEmpty);
}

} // namespace fetra
