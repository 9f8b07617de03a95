#include "app/model/SettingsPane.h"

#include "app/model/AppModel.h"
#include "app/model/FolderChooser.h"

#include <QCoreApplication>
#include <QPointer>

#include <algorithm>

namespace fetra {

using namespace Qt::StringLiterals;

namespace {

qint64 clamped(qint64 value, SettingsPane::Range range) {
    return std::clamp(value, range.least, range.most);
}

} // namespace

void SettingsPane::setMaxConcurrentDownloads(qint64 count) {
    model_.manager().setMaxConcurrentDownloads(clamped(count, simultaneousDownloads));
}

void SettingsPane::setConnectionsPerDownload(qint64 count) {
    model_.manager().setConnectionsPerDownload(clamped(count, connections));
}

void SettingsPane::setTorrentUploadLimitKB(qint64 limit) {
    model_.refreshTorrentUploadLimits();
    model_.manager().setTorrentUploadLimitKB(clamped(limit, uploadLimit));
}

void SettingsPane::setAutoStart(bool on) {
    model_.manager().setAutoStart(on);
}

void SettingsPane::setTorrentSeedAfterComplete(bool on) {
    model_.manager().setTorrentSeedAfterComplete(on);
}

void SettingsPane::chooseDefaultDirectory() {
    FolderChooser::choose(model_.desktop().panels, model_.manager().defaultDirectory(),
                          [model = QPointer(&model_)](const QUrl& folder) {
                              if (model)
                                  model->manager().setDefaultDirectory(folder);
                          });
}

QString SettingsPane::uploadLimitNote() {
    return tr("0 never uploads. A small limit keeps downloads fast while giving peers a little back. Changes "
              "apply to torrents started after the change.");
}

QString SettingsPane::clipboardNote() {
    return tr("Copied links are offered for review. Downloads never start automatically from the clipboard.");
}

QString SettingsPane::versionText() {
    const QString version = QCoreApplication::applicationVersion();
    return tr("Version %1").arg(version.isEmpty() ? u"1.0.0"_s : version);
}

QString SettingsPane::commandLinePath(const QUrl& appBundle) {
    return appBundle.toLocalFile() + u"/Contents/Helpers/fetra"_s;
}

} // namespace fetra
