#pragma once

#include "app/model/AppModel.h"
#include "app/views/Throttle.h"

#include <QWidget>

class QLabel;

namespace fetra {

/// One line below the list: how many downloads there are at which stage, and how quickly bytes come and go.
/// Brought up to date at most four times a second.
class StatusBarView final : public QWidget {
    Q_OBJECT

public:
    /// `model` outlives this.
    explicit StatusBarView(AppModel& model, QWidget* parent = nullptr);

protected:
    void showEvent(QShowEvent* event) override;
    void hideEvent(QHideEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;
    void changeEvent(QEvent* event) override;

private:
    void noteChange(bool ofCounts);
    void refresh();
    /// Rates stand still whatever they are.
    void reserveWidths();
    /// The number of all gives way first.
    void fit();

    AppModel& model_;
    QLabel* stages_;
    QLabel* total_;
    QLabel* down_;
    QLabel* up_;
    bool areCountsOld_ = true;
    Throttle refreshing_;
};

} // namespace fetra
