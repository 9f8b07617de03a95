#include "app/views/ConnectionsEditor.h"

#include "app/model/InspectorFacts.h"
#include "app/views/Theme.h"
#include "app/views/ToneLabel.h"

#include <QSignalBlocker>
#include <QVBoxLayout>
#include <QWheelEvent>

#include <algorithm>

namespace fetra {

void ConnectionsEditor::Stepper::fixup(QString& input) const {
    bool isNumber = false;
    const int number = QString(input).remove(suffix()).trimmed().toInt(&isNumber);
    input = textFromValue(isNumber ? std::clamp(number, minimum(), maximum()) : value()) + suffix();
}

QValidator::State ConnectionsEditor::Stepper::validate(QString& input, int& position) const {
    const QValidator::State state = QSpinBox::validate(input, position);
    if (state != QValidator::Invalid)
        return state;
    bool isNumber = false;
    const int number = QString(input).remove(suffix()).trimmed().toInt(&isNumber);
    return isNumber && number > maximum() ? QValidator::Intermediate : state;
}

void ConnectionsEditor::Stepper::wheelEvent(QWheelEvent* event) {
    if (hasFocus())
        QSpinBox::wheelEvent(event);
    else
        event->ignore();
}

ConnectionsEditor::ConnectionsEditor(AppModel& model, QWidget* parent)
    : QWidget(parent)
    , model_(model)
    , stepper_(new Stepper(this))
    , note_(new ToneLabel(ToneLabel::Tone::secondary, this)) {
    stepper_->setRange(1, static_cast<int>(InspectorFacts::maxConnections));
    stepper_->setSuffix(tr(" connections"));
    stepper_->setAccessibleName(tr("Connections"));
    // A number that is still being typed is not meant yet.
    stepper_->setKeyboardTracking(false);
    // Without the wheel, that is.
    stepper_->setFocusPolicy(Qt::StrongFocus);
    note_->setText(tr("Pause to edit. Changes apply on the next start."));
    note_->setFont(Theme::smaller(note_->font()));

    auto* const layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(Theme::tight);
    layout->addWidget(stepper_, 0, Qt::AlignLeft);
    layout->addWidget(note_);
    connect(stepper_, &QSpinBox::valueChanged, this, [this](int value) {
        if (item_)
            InspectorFacts::setConnections(model_.manager(), *item_, value);
    });
}

void ConnectionsEditor::refresh(const AppModel::Item& item) {
    const bool isEditable = InspectorFacts::isEditable(*item);
    // What the user is typing stays, unless it was meant for another download or is refused by now.
    const bool staysAsTyped = item == item_ && isEditable && stepper_->hasFocus();
    item_ = item;
    stepper_->setEnabled(isEditable);
    note_->setHidden(isEditable);
    if (staysAsTyped)
        return;
    const QSignalBlocker silence(stepper_);
    stepper_->setValue(static_cast<int>(item->connections()));
}

} // namespace fetra
