#pragma once

#include <QWidget>

class QVariantAnimation;

namespace fetra {

class AppModel;
class ToneLabel;

/// Offers the links that the user has copied, for review or not at all. Slides in and out of sight by itself;
/// its place in a layout is above what it belongs to.
class ClipboardBanner final : public QWidget {
    Q_OBJECT

public:
    /// `model` outlives this.
    explicit ClipboardBanner(AppModel& model, QWidget* parent = nullptr);

    [[nodiscard]] QSize sizeHint() const override;
    [[nodiscard]] QSize minimumSizeHint() const override { return sizeHint(); }

protected:
    void resizeEvent(QResizeEvent* event) override;
    void paintEvent(QPaintEvent* event) override;

private:
    void refresh();
    void slide(bool in);
    void review();

    AppModel& model_;
    QWidget* content_;
    ToneLabel* detail_;
    QVariantAnimation* motion_;
    /// How much of it shows, 0 to 1.
    qreal share_ = 0;
    bool isOffering_ = false;
};

} // namespace fetra
