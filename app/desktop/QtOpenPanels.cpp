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

    // The one signal that native panels and Qt's own send alike.
    QObject::connect(dialog, &QFileDialog::filesSelected, dialog,
                     [chosen = std::move(chosen)](const QStringList& paths) {
                         QList<QUrl> files;
                         for (const QString& path : paths)
                             files.append(QUrl::fromLocalFile(path));
                         if (!files.isEmpty())
                             chosen(files);
                     });
    dialog->open();
    if (!window)
        dialog->activateWindow();
}

} // namespace fetra
