#include "cli/AddCommand.h"
#include "cli/Arguments.h"
#include "cli/DisplayText.h"
#include "cli/GetCommand.h"
#include "cli/HelpText.h"
#include "cli/Interruption.h"
#include "cli/ListCommand.h"
#include "cli/ProbeCommand.h"
#include "cli/StandardStreams.h"
#include "http/CurlClient.h"
#include "system/OpenDescriptors.h"
#include "transfer/ErrorSentence.h"

#include <QCoreApplication>
#include <QDir>

#include <array>
#include <clocale>
#include <optional>
#include <string>
#include <unistd.h>

using namespace fetra;
using namespace fetra::cli;
using namespace Qt::StringLiterals;

namespace {

ExitStatus complain(const UsageError& error) {
    writeAll(STDERR_FILENO, u"fetra: %1\n"_s.arg(error.sentence).toUtf8());
    return ExitStatus::wrongUsage;
}

/// Builds what transfers need of the world, and hands it to `command`.
template <typename Command>
ExitStatus withServices(LogLevel logLevel, Command&& command) {
    Log::setLevel(logLevel);
    OpenDescriptors::raiseLimit();
    CurlClient http;
    SystemClock clock;
    SystemRandom random;
    Ticker ticker;
    return command(EngineServices{http, clock, random, ticker});
}

/// The event loop that downloads are run in. Making it would complain about any other locale than UTF-8, and
/// change it; what the terminal takes is to be known afterwards too.
class EventLoop {
public:
    EventLoop() {
        const bool wasSet = qEnvironmentVariableIsSet("LC_ALL");
        const QByteArray given = qgetenv("LC_ALL");
        qputenv("LC_ALL", "C.UTF-8");
        application_.emplace(count_, arguments_.data());
        if (wasSet)
            qputenv("LC_ALL", given);
        else
            qunsetenv("LC_ALL");
        std::setlocale(LC_ALL, "C");
        std::setlocale(LC_CTYPE, "");
    }

private:
    int count_ = 1;
    std::string name_ = "fetra";
    std::array<char*, 2> arguments_{name_.data(), nullptr};
    std::optional<QCoreApplication> application_;
};

struct Dispatch {
    ExitStatus operator()(const GetRequest& request) const {
        // While text is read from standard input.
        Interruption::endAtOnce();
        const auto plan = planFor(request, QDir::currentPath());
        if (const auto* error = std::get_if<UsageError>(&plan))
            return complain(*error);
        // Before the first thread starts, so that all of them leave the signals to this one.
        Interruption interruption;
        const EventLoop loop;
        return withServices(request.logLevel, [&](const EngineServices& services) {
            return runGet(request, std::get<GetPlan>(plan), services, interruption);
        });
    }
    ExitStatus operator()(const AddRequest& request) const {
        Log::setLevel(request.logLevel);
        for (const QUrl& url : request.urls)
            if (const auto error = whyNotThere(url))
                return complain(*error);
        return runAdd(request);
    }
    ExitStatus operator()(const ListRequest& request) const {
        Log::setLevel(request.logLevel);
        return runList(request);
    }
    ExitStatus operator()(const ProbeRequest& request) const {
        Interruption::endAtOnce();
        return withServices(request.logLevel,
                            [&](const EngineServices& services) { return runProbe(request, services); });
    }
    ExitStatus operator()(const ShowHelp&) const {
        writeAll(STDOUT_FILENO, HelpText::page());
        return ExitStatus::complete;
    }
    ExitStatus operator()(const ShowVersion&) const {
        writeAll(STDOUT_FILENO, HelpText::version());
        return ExitStatus::complete;
    }
    ExitStatus operator()(const ShowUsage&) const {
        writeAll(STDERR_FILENO, HelpText::usage());
        return ExitStatus::wrongUsage;
    }
    ExitStatus operator()(const UsageError& error) const { return complain(error); }
};

} // namespace

int main(int argc, char** argv) {
    // Whether the terminal takes UTF-8; nothing else of the locale is asked for.
    std::setlocale(LC_CTYPE, "");
    const QByteArrayList arguments(argv + std::min(argc, 1), argv + argc);
    try {
        return std::visit(Dispatch{}, parseArguments(arguments));
    } catch (...) {
        const QString sentence = errorSentence(std::current_exception());
        writeAll(STDERR_FILENO, u"fetra: %1\n"_s.arg(DisplayText::printable(sentence)).toUtf8());
        return ExitStatus::failed;
    }
}
