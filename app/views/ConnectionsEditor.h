#pragma once

#include "app/model/AppModel.h"

#include <QSpinBox>
#include <QWidget>

namespace fetra {

class ToneLabel;

/// How many connections a download may open, to be changed while it does not run.
class ConnectionsEditor final : public QWidget {
    Q_OBJECT

public:
    explicit ConnectionsEditor(AppModel& model, QWidget* parent = nullptr);

    void refresh(const AppModel::Item& item);

private:
    /// Takes a number that is too large while it is typed, and the largest one instead when it is done. Turns
    /// with the wheel only where the user works with it, not whenever the pane scrolls by.
    class Stepper final : public QSpinBox {
    public:
        using QSpinBox::QSpinBox;
        void fixup(QString& input) const override;
        QValidator::State validate(QString& input, int& position) const override;

    protected:
        void wheelEvent(QWheelEvent* event) override;
    };

    AppModel& model_;
    AppModel::Item item_;
    Stepper* const stepper_;
    ToneLabel* const note_;
};

} // namespace fetra
