#pragma once

#include "manager/DownloadManager.h"

#include <QWidget>

namespace fetra {

class FactTable;
class ToneLabel;

/// Who else has a torrent, and how much of it is given to them.
class SwarmPanel final : public QWidget {
    Q_OBJECT

public:
    explicit SwarmPanel(QWidget* parent = nullptr);

    void refresh(const DownloadItem& item, qint64 uploadLimitKB);

private:
    FactTable* const facts_;
    ToneLabel* const cap_;
};

} // namespace fetra
