#pragma once

#include "app/model/AppModel.h"

#include <QScrollArea>
#include <QStackedWidget>

namespace fetra {

class DownloadInspector;
class EmptyState;

/// The pane beside the list: all about the one download that is selected. Scrolls downwards only.
class InspectorView final : public QStackedWidget {
    Q_OBJECT

public:
    static constexpr int narrowest = 280;
    static constexpr int widest = 440;

    explicit InspectorView(AppModel& model, QWidget* parent = nullptr);

    [[nodiscard]] QSize sizeHint() const override;
    [[nodiscard]] QSize minimumSizeHint() const override;

protected:
    void showEvent(QShowEvent* event) override;

private:
    void follow();

    AppModel& model_;
    EmptyState* const nothing_;
    EmptyState* const several_;
    DownloadInspector* const inspector_;
    QScrollArea* const scroll_;
};

} // namespace fetra
