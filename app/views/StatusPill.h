#pragma once

#include "app/views/DrawnWidget.h"
#include "manager/DownloadStatus.h"

namespace fetra {

/// A download's status as a word in the colour of the state.
class StatusPill final : public DrawnWidget {
    Q_OBJECT

public:
    /// In a filled capsule when `pill`.
    explicit StatusPill(bool pill, QWidget* parent = nullptr);

    void setStatus(DownloadStatus status);

    [[nodiscard]] QString spokenValue() const override;
    [[nodiscard]] QSize sizeHint() const override;

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    const bool pill_;
    DownloadStatus status_ = DownloadStatus::queued;
};

} // namespace fetra
