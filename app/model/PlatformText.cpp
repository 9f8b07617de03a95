#include "app/model/PlatformText.h"

#include <utility>

namespace fetra {

using namespace Qt::StringLiterals;

QString platformText(QString text) {
    // A word that holds another one stands before it.
    static const std::pair<QString, QString> words[] = {
        {u"Option-Command-"_s, u"Ctrl+Alt+"_s},
        {u"Command-"_s, u"Ctrl+"_s},
        {u"Cmd-"_s, u"Ctrl+"_s},
        {u"Finder"_s, u"Files"_s},
        {u"menu bar"_s, u"system tray"_s},
    };
    for (const auto& [theirs, ours] : words)
        text.replace(theirs, ours);
    return text;
}

} // namespace fetra
