#include "cli/Arguments.h"
#include "cli/DisplayText.h"
#include "cli/GetCommand.h"
#include "cli/HelpText.h"
#include "cli/Interruption.h"
#include "cli/OutputTarget.h"
#include "cli/ProbeCommand.h"
#include "cli/StandardStreams.h"
#include "http/CurlClient.h"
#include "transfer/ErrorSentence.h"

#include <QDir>

#include <clocale>
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
    CurlClient http;
    SystemClock clock;
    SystemRandom random;
    Ticker ticker;
    return command(EngineServices{http, clock, random, ticker});
}

struct Dispatch {
    ExitStatus operator()(const GetRequest& request) const {
        const auto target = outputTarget(request.output, QDir::currentPath());
        if (const auto* error = std::get_if<UsageError>(&target))
            return complain(*error);
        // Before the first thread starts, so that all of them leave the signals to this one.
        Interruption interruption;
        return withServices(request.logLevel, [&](const EngineServices& services) {
            return runGet(request, std::get<QUrl>(target), services, interruption);
        });
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
