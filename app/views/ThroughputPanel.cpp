#include "app/views/ThroughputPanel.h"

#include "app/model/InspectorFacts.h"
#include "app/views/Theme.h"
#include "app/views/ThroughputChart.h"
#include "app/views/ToneLabel.h"

#include <QLabel>
#include <QVBoxLayout>

namespace fetra {

namespace {

constexpr qreal rateScale = 1.3;

} // namespace

ThroughputPanel::ThroughputPanel(AppModel& model, QWidget* parent)
    : QWidget(parent)
    , model_(model)
    , rate_(new QLabel(this))
    , chart_(new ThroughputChart(this))
    , note_(new ToneLabel(ToneLabel::Tone::secondary, this)) {
    rate_->setFont(Theme::scaled(rate_->font(), rateScale));
    rate_->setTextInteractionFlags(Qt::TextSelectableByMouse);
    note_->setText(tr("Waiting for activity"));
    auto* const layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(Theme::gap);
    layout->addWidget(rate_);
    layout->addWidget(note_);
    layout->addWidget(chart_);
}

void ThroughputPanel::refresh(const DownloadItem& item) {
    rate_->setText(InspectorFacts::throughput(item));
    chart_->setToolTip(InspectorFacts::throughputHelp(item));
}

void ThroughputPanel::refreshChart(const DownloadItem& item) {
    const QList<ThroughputSample> samples = model_.history().samples(item);
    chart_->setSamples(samples, item.isTorrent());
    chart_->setHidden(samples.isEmpty());
    note_->setVisible(samples.isEmpty());
}

} // namespace fetra
