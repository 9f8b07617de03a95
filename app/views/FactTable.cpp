#include "app/views/FactTable.h"

#include "app/views/Theme.h"
#include "app/views/ToneLabel.h"

#include <QGridLayout>
#include <QLabel>

namespace fetra {

FactTable::FactTable(QWidget* parent)
    : QWidget(parent)
    , grid_(new QGridLayout(this)) {
    grid_->setContentsMargins(0, 0, 0, 0);
    grid_->setHorizontalSpacing(Theme::gap);
    grid_->setVerticalSpacing(Theme::tight);
    grid_->setColumnStretch(1, 1);
}

void FactTable::setFacts(const QList<InspectorFacts::Fact>& facts) {
    const auto count = static_cast<size_t>(facts.size());
    while (rows_.size() < count)
        addRow();
    for (size_t index = 0; index < rows_.size(); ++index) {
        Row& row = rows_[index];
        row.label->setVisible(index < count);
        row.value->setVisible(index < count);
        if (index >= count || row.shown == facts.at(static_cast<qsizetype>(index)))
            continue;
        row.shown = facts.at(static_cast<qsizetype>(index));
        row.label->setText(row.shown.label);
        row.value->setText(row.shown.value);
        row.value->setAccessibleName(tr("%1: %2").arg(row.shown.label, row.shown.value));
    }
}

void FactTable::addRow() {
    auto* const label = new ToneLabel(ToneLabel::Tone::secondary, this);
    label->setWordWrap(false);
    // Text that can be selected is laid out in a way of its own: only if both are, they share a base line.
    label->setTextInteractionFlags(Qt::TextSelectableByMouse);
    auto* const value = new QLabel(this);
    value->setTextFormat(Qt::PlainText);
    value->setTextInteractionFlags(Qt::TextSelectableByMouse);
    value->setAlignment(Qt::AlignRight | Qt::AlignVCenter);
    // A value never widens the pane.
    value->setSizePolicy(QSizePolicy::Ignored, QSizePolicy::Fixed);
    const int row = static_cast<int>(rows_.size());
    grid_->addWidget(label, row, 0);
    grid_->addWidget(value, row, 1);
    rows_.push_back({.label = label, .value = value});
}

} // namespace fetra
