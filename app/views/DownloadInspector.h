#pragma once

#include "app/model/AppModel.h"

#include <QWidget>

class QVBoxLayout;

namespace fetra {

class ConnectionsEditor;
class FactTable;
class InspectorHeader;
class RefreshPace;
class SegmentPanel;
class SourceDetails;
class SwarmPanel;
class ThroughputPanel;

/// All about one download, from top to bottom.
class DownloadInspector final : public QWidget {
    Q_OBJECT

public:
    explicit DownloadInspector(AppModel& model, QWidget* parent = nullptr);

    /// Null while there is none; then it is not to be seen. Whether it is another than before.
    bool setItem(const AppModel::Item& item);

private:
    /// Returns the part as a section with a title.
    QWidget* addSection(const QString& title, QWidget* part);
    void follow();
    void refresh();
    void refreshChart();

    AppModel& model_;
    AppModel::Item item_;
    QVBoxLayout* const sections_;
    InspectorHeader* const header_;
    ThroughputPanel* const throughput_;
    FactTable* const statistics_;
    SourceDetails* const details_;
    ConnectionsEditor* const connections_;
    SegmentPanel* const segments_;
    SwarmPanel* const swarm_;
    QWidget* connectionsSection_ = nullptr;
    QWidget* segmentsSection_ = nullptr;
    QWidget* swarmSection_ = nullptr;
    RefreshPace* const pace_;
    RefreshPace* const chartPace_;
};

} // namespace fetra
