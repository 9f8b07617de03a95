#include "app/views/DownloadInspector.h"

#include "app/model/InspectorFacts.h"
#include "app/views/ConnectionsEditor.h"
#include "app/views/FactTable.h"
#include "app/views/InspectorHeader.h"
#include "app/views/RefreshPace.h"
#include "app/views/SegmentPanel.h"
#include "app/views/SourceDetails.h"
#include "app/views/SwarmPanel.h"
#include "app/views/Theme.h"
#include "app/views/ThroughputPanel.h"

#include <QLabel>
#include <QVBoxLayout>

namespace fetra {

DownloadInspector::DownloadInspector(AppModel& model, QWidget* parent)
    : QWidget(parent)
    , model_(model)
    , sections_(new QVBoxLayout(this))
    , header_(new InspectorHeader(this))
    , throughput_(new ThroughputPanel(model, this))
    , statistics_(new FactTable(this))
    , details_(new SourceDetails(model, this))
    , connections_(new ConnectionsEditor(model, this))
    , segments_(new SegmentPanel(this))
    , swarm_(new SwarmPanel(this))
    , pace_(new RefreshPace(*this, [this] { refresh(); }))
    , chartPace_(new RefreshPace(*this, [this] { refreshChart(); })) {
    sections_->setContentsMargins(Theme::wide, Theme::wide, Theme::wide, Theme::wide);
    sections_->setSpacing(Theme::wide + Theme::gap);
    sections_->addWidget(header_);
    addSection(tr("Throughput"), throughput_);
    addSection(tr("Statistics"), statistics_);
    addSection(tr("Details"), details_);
    connectionsSection_ = addSection(tr("Connections"), connections_);
    segmentsSection_ = addSection(tr("Segments"), segments_);
    swarmSection_ = addSection(tr("Swarm"), swarm_);
    sections_->addStretch();
    follow();
}

QWidget* DownloadInspector::addSection(const QString& title, QWidget* part) {
    auto* const section = new QWidget(this);
    auto* const heading = new QLabel(title, section);
    heading->setFont(Theme::bold(heading->font()));
    auto* const layout = new QVBoxLayout(section);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(Theme::gap);
    layout->addWidget(heading);
    layout->addWidget(part);
    section->setAccessibleName(title);
    sections_->addWidget(section);
    return section;
}

void DownloadInspector::follow() {
    connect(&model_.list(), &ListWatch::itemChanged, this,
            [this](const AppModel::Item& item, DownloadItem::Field field) {
                if (item != item_)
                    return;
                // What may be done follows the status, and the user sees it there first.
                if (field == DownloadItem::Field::status)
                    pace_->hurry();
                else
                    pace_->request();
            });
    connect(&model_.history(), &ThroughputHistory::changed, this, [this] {
        chartPace_->request();
        pace_->request();
    });
    connect(&model_, &AppModel::changed, this, [this](AppModel::Field field) {
        if (field == AppModel::Field::torrentUploadLimits)
            pace_->request();
    });
    connect(&model_.manager(), &DownloadManager::changed, this, [this](DownloadManager::Field field) {
        if (field == DownloadManager::Field::torrentUploadLimitKB)
            pace_->request();
    });
}

bool DownloadInspector::setItem(const AppModel::Item& item) {
    if (item == item_)
        return false;
    item_ = item;
    pace_->hurry();
    chartPace_->hurry();
    return true;
}

void DownloadInspector::refresh() {
    if (!item_)
        return;
    header_->refresh(*item_);
    throughput_->refresh(*item_);
    statistics_->setFacts(InspectorFacts::statistics(*item_, model_.history().average(*item_)));
    details_->refresh(item_);
    connections_->refresh(item_);
    segments_->refresh(item_);
    // Torrents come in pieces from a swarm, not in ranges over connections of ours.
    const bool isTorrent = item_->isTorrent();
    connectionsSection_->setHidden(isTorrent);
    segmentsSection_->setHidden(isTorrent);
    swarmSection_->setVisible(isTorrent);
    if (isTorrent)
        swarm_->refresh(*item_, model_.torrentUploadLimit(*item_));
}

void DownloadInspector::refreshChart() {
    if (item_)
        throughput_->refreshChart(*item_);
}

} // namespace fetra
