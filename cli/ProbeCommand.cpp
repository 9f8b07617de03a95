#include "ProbeCommand.h"

#include "cli/DisplayText.h"
#include "cli/JsonView.h"
#include "cli/StandardStreams.h"
#include "transfer/Downloader.h"
#include "transfer/ErrorSentence.h"

#include <unistd.h>

using namespace Qt::StringLiterals;

namespace fetra::cli {
namespace {

QUrl withoutCredentials(QUrl url) {
    url.setUserInfo({});
    return url;
}

} // namespace

ExitStatus runProbe(const ProbeRequest& request, const EngineServices& services) {
    try {
        RemoteInfo info = Downloader(request.options, services).probe(request.url);
        info.originalURL = withoutCredentials(info.originalURL);
        info.finalURL = withoutCredentials(info.finalURL);
        writeAll(STDOUT_FILENO, jsonText(info.toJson(), true));
        return ExitStatus::complete;
    } catch (...) {
        const QString sentence = errorSentence(std::current_exception());
        writeAll(STDERR_FILENO, u"fetra: %1\n"_s.arg(DisplayText::printable(sentence)).toUtf8());
        return ExitStatus::failed;
    }
}

} // namespace fetra::cli
