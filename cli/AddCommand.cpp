#include "AddCommand.h"

#include "browser/CaptureJob.h"
#include "browser/InboxFolders.h"
#include "cli/ArgumentValues.h"
#include "cli/StandardStreams.h"

#include <QDir>

#include <unistd.h>

using namespace Qt::StringLiterals;

namespace fetra::cli {

ExitStatus runAdd(const AddRequest& request) {
    const std::optional<QString> inbox = InboxFolders::application();
    if (!inbox) {
        writeAll(STDERR_FILENO, "fetra: The system names no folder for the data of applications.\n");
        return ExitStatus::failed;
    }
    const QString folder = request.output.isEmpty()
                               ? QString()
                               : QDir::cleanPath(QDir::current().absoluteFilePath(request.output));
    for (const QUrl& url : request.urls) {
        const CaptureJob job{.url = url, .directory = folder, .filename = request.name};
        // The path says nothing to anybody.
        static_cast<void>(job.deposit(*inbox));
        writeAll(STDOUT_FILENO, u"Handed over: %1\n"_s.arg(ArgumentValues::quotedLink(url)).toUtf8());
    }
    return ExitStatus::complete;
}

} // namespace fetra::cli
