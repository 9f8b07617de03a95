#include "app/views/RemovalConfirmation.h"

#include "app/model/AppModel.h"

#include <QPushButton>

namespace fetra {

RemovalConfirmation::RemovalConfirmation(AppModel& model, QWidget* parent)
    : QMessageBox(parent)
    , model_(model)
    , request_(model.removal().value_or(RemovalRequest())) {
    setAttribute(Qt::WA_DeleteOnClose);
    setIcon(QMessageBox::Warning);
    setTextFormat(Qt::PlainText);
    setText(request_.title());
    setInformativeText(request_.message());
    QPushButton* remove = addButton(request_.button(), QMessageBox::DestructiveRole);
    QPushButton* cancel = addButton(QMessageBox::Cancel);
    setDefaultButton(request_.deleteFiles ? cancel : remove);
    setEscapeButton(cancel);
    remove_ = remove;

    connect(this, &QDialog::finished, this, &RemovalConfirmation::answer);
    connect(&model_, &AppModel::changed, this, [this](AppModel::Field field) {
        if (field == AppModel::Field::removal && !isWanted())
            close();
    });
}

void RemovalConfirmation::present(AppModel& model, QWidget* parent) {
    (new RemovalConfirmation(model, parent))->open();
}

bool RemovalConfirmation::isWanted() const {
    return model_.removal() == request_;
}

void RemovalConfirmation::answer() {
    disconnect(&model_, nullptr, this, nullptr);
    if (!isWanted())
        return;
    model_.setRemoval(std::nullopt);
    if (clickedButton() == remove_)
        model_.performRemoval(request_);
}

} // namespace fetra
