#include "app/desktop/QtOpenPanels.h"

#include <QApplication>
#include <QFileDialog>

#include <utility>

namespace fetra {

using namespace Qt::StringLiterals;

void QtOpenPanels::show(const OpenPanel& panel, std::function<void(const QList<QUrl>&)> chosen) {
    QWidget* window = QApplication::activeWindow();
    auto* dialog = new QFileDialog(window, panel.title);
    dialog->setAttribute(Qt::WA_DeleteOnClose);
    dialog->setAcceptMode(QFileDialog::AcceptOpen);
    dialog->setSupportedSchemes({u"file"_s});
    if (panel.choice == OpenPanel::Choice::folder) {
        dialog->setFileMode(QFileDialog::Directory);
        dialog->setOption(QFileDialog::ShowDirsOnly);
    } else {
        dialog->setFileMode(panel.allowsSeveral ? QFileDialog::ExistingFiles : QFileDialog::ExistingFile);
        if (!panel.mimeType.isEmpty())
            dialog->setMimeTypeFilters({panel.mimeType});
    }
    dialog->setLabelText(QFileDialog::Accept, panel.prompt);
    if (panel.start)
        dialog->setDirectoryUrl(*panel.start);

    QObject::connect(dialog, &QFileDialog::urlsSelected, dialog,
                     [chosen = std::move(chosen)](const QList<QUrl>& urls) {
                         QList<QUrl> files = urls;
                         files.removeIf([](const QUrl& url) { return !url.isLocalFile(); });
                         if (!files.isEmpty())
                             chosen(files);
                     });
    dialog->open();
    if (!window)
        dialog->activateWindow();
}

} // namespace fetra
