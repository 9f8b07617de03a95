#include "browser/InboxFolders.h"

#include "system/StandardFolders.h"

namespace fetra::InboxFolders {

namespace {

std::optional<QString> belowApplicationSupport(const QString& path) {
    std::optional<QString> folder = StandardFolders::applicationSupport();
    if (folder)
        *folder += path;
    return folder;
}

} // namespace

std::optional<QString> application() {
    return belowApplicationSupport(QStringLiteral("/Fetra/inbox"));
}

std::optional<QString> captureExtension() {
    return belowApplicationSupport(QStringLiteral("/com.quennelworth.fetra.capture.Extension"
                                                  "/Data/Library/Application Support/Fetra/inbox"));
}

QStringList all() {
    QStringList folders;
    for (const auto& folder : {application(), captureExtension()})
        if (folder)
            folders += *folder;
    return folders;
}

} // namespace fetra::InboxFolders
