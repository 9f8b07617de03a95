#pragma once

#include "app/model/LinkGrabber.h"
#include "app/model/Requests.h"

#include <QDialog>

class QCheckBox;
class QLabel;
class QLayout;
class QLineEdit;
class QPushButton;
class QSpinBox;

namespace fetra {

class ElidedLabel;
class LinkEditor;
class ToneLabel;

/// The sheet in which links are reviewed before they become downloads. Made while the model's `grabber` is
/// present; goes by itself with that request, and ends the request when the user closes it.
class LinkGrabberSheet final : public QDialog {
    Q_OBJECT

public:
    /// `model` outlives this, and has a grabber to show.
    LinkGrabberSheet(AppModel& model, QWidget* parent);

    /// Makes one and shows it as a sheet of `parent`.
    static void present(AppModel& model, QWidget* parent);

    void done(int result) override;

private:
    [[nodiscard]] QLayout* makeHeader();
    [[nodiscard]] QLayout* makeCountLine();
    [[nodiscard]] QLayout* makeOptions();
    [[nodiscard]] QWidget* makeError();
    [[nodiscard]] QLayout* makeButtons();
    [[nodiscard]] bool isWanted() const;
    void refresh(LinkGrabber::Field field);
    void refreshSelection();
    void refreshConnections();
    void refreshError();
    void toggleAll();
    void add(bool start);

    AppModel& model_;
    const LinkGrabberRequest request_;
    LinkGrabber grabber_;
    LinkEditor* editor_;
    QCheckBox* all_;
    QLabel* count_;
    ToneLabel* selected_;
    ElidedLabel* directory_;
    QSpinBox* connections_;
    QCheckBox* mirrors_;
    QLineEdit* checksum_;
    ToneLabel* checksumNote_;
    QWidget* error_;
    ToneLabel* errorText_;
    QPushButton* addPaused_;
    QPushButton* start_;
};

} // namespace fetra
