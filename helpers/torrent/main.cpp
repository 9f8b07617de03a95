#include "helpers/torrent/Arguments.h"
#include "helpers/torrent/Failure.h"
#include "helpers/torrent/StatusReport.h"
#include "helpers/torrent/StopRequest.h"
#include "helpers/torrent/Transfer.h"

#include <cstdio>
#include <exception>

#include <unistd.h>

using namespace fetra;
using namespace fetra::torrent;

namespace {

enum ExitStatus : int { finished = 0, failed = 1, wrongUsage = 2 };

void print(const QByteArray& text, std::FILE* stream = stdout) {
    std::fwrite(text.constData(), 1, static_cast<size_t>(text.size()), stream);
    std::fflush(stream);
}

int fail(const QString& sentence, ExitStatus status) {
    StatusReport::error(sentence);
    print("fetra-torrent: " + sentence.toUtf8() + '\n', stderr);
    return status;
}

struct Dispatch {
    int operator()(const Arguments& arguments) const {
        StopRequest stop;
        Transfer transfer(arguments, stop);
        int status = finished;
        try {
            transfer.run();
        } catch (const Failure& failure) {
            status = fail(failure.sentence, failed);
        } catch (const std::exception& error) {
            status = fail(QString::fromUtf8(error.what()), failed);
        }
        transfer.leave(status);
        return status;
    }
    int operator()(const ShowHelp&) const {
        print(helpPage());
        return finished;
    }
    int operator()(const ShowVersion&) const {
        print("fetra-torrent " FETRA_VERSION "\n");
        return finished;
    }
    int operator()(const UsageError& error) const { return fail(error.sentence, wrongUsage); }
};

} // namespace

int main(int argc, char** argv) {
    const QByteArrayList words(argv + (argc > 0 ? 1 : 0), argv + argc);
    const int status = std::visit(Dispatch{}, parseArguments(words));
    // A thread that still waits for a slow disk must not hold up the end.
    ::_exit(status);
}
