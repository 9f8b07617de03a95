#pragma once

#include "manager/DownloadManager.h"

#include <QWidget>

namespace fetra {

class ElidedLabel;
class StatusPill;
class SymbolLabel;
class ValueText;

/// Which download it is: its kind, its name, where it comes from, and its state.
class InspectorHeader final : public QWidget {
    Q_OBJECT

public:
    explicit InspectorHeader(QWidget* parent = nullptr);

    void refresh(const DownloadItem& item);

private:
    SymbolLabel* const symbol_;
    ValueText* const name_;
    ElidedLabel* const host_;
    StatusPill* const pill_;
};

} // namespace fetra
