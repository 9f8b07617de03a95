#pragma once

#include "app/model/SettingsPane.h"

#include <QWidget>

class QCheckBox;
class QLineEdit;
class QSpinBox;
class QVBoxLayout;

namespace fetra {

class ElidedLabel;

/// The settings and what there is to know about the application, in two tabs. What is changed here holds at
/// once; what is changed elsewhere shows here.
class SettingsWindow final : public QWidget {
    Q_OBJECT

public:
    /// `model` outlives this; `appBundle` as for `AppDelegate`.
    SettingsWindow(AppModel& model, const QUrl& appBundle, QWidget* parent = nullptr);

protected:
    void showEvent(QShowEvent* event) override;
    void hideEvent(QHideEvent* event) override;

private:
    struct Switch {
        const char* key;
        QCheckBox* box;
    };

    [[nodiscard]] QWidget* makeGeneral();
    [[nodiscard]] QWidget* makeAbout(const QUrl& appBundle);
    void addDownloads(QVBoxLayout& rows);
    void addTorrents(QVBoxLayout& rows);
    void addIntegration(QVBoxLayout& rows);
    [[nodiscard]] QSpinBox* makeStepper(SettingsPane::Range range, const QString& name);
    void addSwitch(QVBoxLayout& rows, const char* key, const QString& title);
    void refresh();
    void commitUploadLimit();

    AppModel& model_;
    SettingsPane pane_;
    ElidedLabel* directory_;
    QCheckBox* autoStart_;
    QSpinBox* simultaneous_;
    QSpinBox* connections_;
    QLineEdit* uploadLimit_;
    QCheckBox* seeding_;
    QList<Switch> switches_;
};

} // namespace fetra
