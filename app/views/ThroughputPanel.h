#pragma once

#include "app/model/AppModel.h"

#include <QWidget>

class QLabel;

namespace fetra {

class ThroughputChart;
class ToneLabel;

/// How fast one download is, and was over the last two minutes.
class ThroughputPanel final : public QWidget {
    Q_OBJECT

public:
    explicit ThroughputPanel(AppModel& model, QWidget* parent = nullptr);

    void refresh(const DownloadItem& item);
    /// Once for each moment of the history.
    void refreshChart(const DownloadItem& item);

private:
    AppModel& model_;
    QLabel* const rate_;
    ThroughputChart* const chart_;
    ToneLabel* const note_;
};

} // namespace fetra
