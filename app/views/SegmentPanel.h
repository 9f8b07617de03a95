#pragma once

#include "manager/DownloadManager.h"

#include <QWidget>

namespace fetra {

class FittingListView;
class SegmentBar;
class SegmentListModel;
class ToneLabel;

/// The byte ranges of one download: as one bar, and each with where it is and how far.
class SegmentPanel final : public QWidget {
    Q_OBJECT

public:
    explicit SegmentPanel(QWidget* parent = nullptr);

    void refresh(const DownloadManager::Item& item);

private:
    SegmentBar* const bar_;
    SegmentListModel* const model_;
    FittingListView* const list_;
    ToneLabel* const note_;
};

} // namespace fetra
