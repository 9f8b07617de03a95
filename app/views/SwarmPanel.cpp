#include "app/views/SwarmPanel.h"

#include "app/views/FactTable.h"
#include "app/views/Theme.h"
#include "app/views/ToneLabel.h"

#include <QVBoxLayout>

namespace fetra {

SwarmPanel::SwarmPanel(QWidget* parent)
    : QWidget(parent)
    , facts_(new FactTable(this))
    , cap_(new ToneLabel(ToneLabel::Tone::secondary, this)) {
    auto* const note = new ToneLabel(ToneLabel::Tone::secondary, this);
    note->setText(tr("Per-peer detail is not available yet."));
    note->setFont(Theme::smaller(note->font()));
    auto* const layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(Theme::tight);
    layout->addWidget(facts_);
    layout->addWidget(cap_);
    layout->addWidget(note);
}

void SwarmPanel::refresh(const DownloadItem& item, qint64 uploadLimitKB) {
    facts_->setFacts(
        {{tr("Peers"), QString::number(item.peers())}, {tr("Seeds"), QString::number(item.seeds())}});
    cap_->setText(InspectorFacts::uploadCap(uploadLimitKB));
}

} // namespace fetra
