#include "app/views/InspectorHeader.h"

#include "app/model/FileKind.h"
#include "app/model/InspectorFacts.h"
#include "app/views/ElidedLabel.h"
#include "app/views/StatusPill.h"
#include "app/views/SymbolLabel.h"
#include "app/views/Theme.h"
#include "app/views/ValueText.h"

#include <QHBoxLayout>

namespace fetra {

namespace {

constexpr int symbolSide = 32;
/// The longest names that file systems take fit into the narrowest pane.
constexpr int mostNameLines = 12;

} // namespace

InspectorHeader::InspectorHeader(QWidget* parent)
    : QWidget(parent)
    , symbol_(new SymbolLabel(QString(), symbolSide, SymbolLabel::Color::accent, this))
    , name_(new ValueText(mostNameLines, this))
    // The end of a host's name says whose it is.
    , host_(new ElidedLabel(Qt::ElideLeft, this))
    , pill_(new StatusPill(true, this)) {
    name_->setFont(Theme::bold(font()));
    name_->setAccessibleName(tr("File name"));

    auto* const lines = new QVBoxLayout;
    lines->setSpacing(Theme::tight);
    lines->addWidget(name_);
    lines->addWidget(host_);
    lines->addWidget(pill_, 0, Qt::AlignLeft);
    auto* const layout = new QHBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(Theme::gap);
    layout->addWidget(symbol_, 0, Qt::AlignTop);
    layout->addLayout(lines, 1);
}

void InspectorHeader::refresh(const DownloadItem& item) {
    symbol_->setName(fileKindSymbol(fileKind(item)));
    name_->setValue(item.filename());
    host_->setText(InspectorFacts::sourceHost(item));
    pill_->setStatus(item.status());
}

} // namespace fetra
