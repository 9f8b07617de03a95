#include "app/desktop/QtAlerts.h"

#include <QApplication>
#include <QMessageBox>
#include <QPushButton>

#include <utility>

namespace fetra {

namespace {

QMessageBox::ButtonRole roleOf(qsizetype index, qsizetype count) {
    if (index == 0)
        return QMessageBox::AcceptRole;
    return index == count - 1 ? QMessageBox::RejectRole : QMessageBox::ActionRole;
}

/// Answers once, also when it goes with its window.
class WarningBox final : public QMessageBox {
public:
    WarningBox(const Alert& alert, std::function<void(qsizetype)> answered, QWidget* parent)
        : QMessageBox(parent)
        , answered_(std::move(answered)) {
        setAttribute(Qt::WA_DeleteOnClose);
        setIcon(QMessageBox::Warning);
        setTextFormat(Qt::PlainText);
        setText(alert.message);
        setInformativeText(alert.informativeText);
        const qsizetype count = alert.buttons.size();
        for (qsizetype index = 0; index < count; ++index)
            buttons_.append(addButton(alert.buttons.at(index), roleOf(index, count)));
        if (buttons_.isEmpty())
            buttons_.append(addButton(QMessageBox::Ok));
        setDefaultButton(buttons_.first());
        setEscapeButton(buttons_.last());
        connect(this, &QDialog::finished, this, [this] { answer(buttons_.indexOf(clickedButton())); });
    }
    ~WarningBox() override { answer(-1); }

private:
    void answer(qsizetype button) {
        if (const auto answered = std::exchange(answered_, nullptr))
            answered(button < 0 ? buttons_.size() - 1 : button);
    }

    std::function<void(qsizetype)> answered_;
    QList<QPushButton*> buttons_;
};

} // namespace

void QtAlerts::warn(const Alert& alert, std::function<void(qsizetype button)> answered) {
    QWidget* window = QApplication::activeWindow();
    auto* box = new WarningBox(alert, std::move(answered), window);
    if (window) {
        box->open();
        return;
    }
    box->setModal(true);
    box->show();
    box->raise();
    box->activateWindow();
}

} // namespace fetra
