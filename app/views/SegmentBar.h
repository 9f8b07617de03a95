#pragma once

#include "app/views/DrawnWidget.h"
#include "manager/DownloadManager.h"

namespace fetra {

class RefreshPace;

/// The whole file of one download as a bar, each range's fetched part in its place.
class SegmentBar final : public DrawnWidget {
    Q_OBJECT

public:
    enum class Size { small, large };

    explicit SegmentBar(Size size, QWidget* parent = nullptr);

    /// Null shows nothing.
    void setItem(const DownloadManager::Item& item);

    [[nodiscard]] QString spokenValue() const override;
    [[nodiscard]] QSize sizeHint() const override;
    [[nodiscard]] QSize minimumSizeHint() const override;

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    const Size size_;
    RefreshPace* const pace_;
    DownloadManager::Item item_;
};

} // namespace fetra
