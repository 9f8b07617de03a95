#include "app/views/InspectorView.h"

#include "app/views/DownloadInspector.h"
#include "app/views/EmptyState.h"

#include <QScrollBar>

namespace fetra {

using namespace Qt::StringLiterals;

namespace {

constexpr int usualWidth = 320;

} // namespace

InspectorView::InspectorView(AppModel& model, QWidget* parent)
    : QStackedWidget(parent)
    , model_(model)
    , nothing_(new EmptyState(this))
    , several_(new EmptyState(this))
    , inspector_(new DownloadInspector(model))
    , scroll_(new QScrollArea(this)) {
    setAccessibleName(tr("Inspector"));
    setMinimumWidth(narrowest);
    setMaximumWidth(widest);
    nothing_->setContent({.symbol = u"sidebar.right"_s,
                          .title = tr("No Selection"),
                          .text = tr("Select one download to inspect its progress and connections.")});
    several_->setContent({.symbol = u"doc.on.doc"_s, .title = tr("Multiple Downloads"), .text = {}});
    scroll_->setWidget(inspector_);
    scroll_->setWidgetResizable(true);
    scroll_->setFrameShape(QFrame::NoFrame);
    // Its parts take the focus, and pass on the keys that scroll.
    scroll_->setFocusPolicy(Qt::NoFocus);
    scroll_->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    scroll_->viewport()->setAutoFillBackground(false);
    inspector_->setAutoFillBackground(false);
    addWidget(nothing_);
    addWidget(several_);
    addWidget(scroll_);

    connect(&model_, &AppModel::changed, this, [this](AppModel::Field field) {
        if (field == AppModel::Field::selection)
            follow();
    });
    connect(&model_.manager(), &DownloadManager::changed, this, [this](DownloadManager::Field field) {
        if (field == DownloadManager::Field::items)
            follow();
    });
}

QSize InspectorView::sizeHint() const {
    return {usualWidth, QStackedWidget::sizeHint().height()};
}

QSize InspectorView::minimumSizeHint() const {
    return {narrowest, 0};
}

void InspectorView::showEvent(QShowEvent* event) {
    follow();
    QStackedWidget::showEvent(event);
}

void InspectorView::follow() {
    if (!isVisible())
        return;
    const AppModel::Items selected = model_.selectedItems();
    if (inspector_->setItem(selected.size() == 1 ? selected.first() : nullptr))
        scroll_->verticalScrollBar()->setValue(0);
    if (selected.isEmpty())
        setCurrentWidget(nothing_);
    else if (selected.size() > 1)
        setCurrentWidget(several_);
    else
        setCurrentWidget(scroll_);
}

} // namespace fetra
