#include "app/model/FolderChooser.h"

#include "app/desktop/OpenPanels.h"

#include <QCoreApplication>

namespace fetra {

void FolderChooser::choose(OpenPanels& panels, const QUrl& current,
                           std::function<void(const QUrl& folder)> receive) {
    panels.show({.title = QCoreApplication::translate("FolderChooser", "Choose Download Folder"),
                 .prompt = QCoreApplication::translate("FolderChooser", "Choose"),
                 .choice = OpenPanel::Choice::folder,
                 .start = current},
                [receive = std::move(receive)](const QList<QUrl>& chosen) {
                    if (!chosen.isEmpty())
                        receive(chosen.first());
                });
}

} // namespace fetra
