#pragma once

#include "app/model/Requests.h"

#include <QMessageBox>

namespace fetra {

class AppModel;

/// Asks whether downloads shall be removed. Made while the model's `removal` is present; answers it, and goes
/// by itself with the answer or with the request.
class RemovalConfirmation final : public QMessageBox {
    Q_OBJECT

public:
    /// `model` outlives this, and has a removal to confirm.
    RemovalConfirmation(AppModel& model, QWidget* parent);

    /// Makes one and shows it as a sheet of `parent`.
    static void present(AppModel& model, QWidget* parent);

private:
    [[nodiscard]] bool isWanted() const;
    void answer();

    AppModel& model_;
    const RemovalRequest request_;
    QAbstractButton* remove_;
};

} // namespace fetra
