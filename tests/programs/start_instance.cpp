// One start of the application as far as other instances go: start_instance FOLDER MILLISECONDS ARGUMENT...
// The milliseconds are for another instance to answer.
// Says how the start went, and as the first one then what it hears, one compact JSON line each.

#include "app/desktop/SingleInstance.h"

#include <QCoreApplication>
#include <QDir>
#include <QMap>

#include <cstdio>
#include <cstdlib>

using namespace fetra;

namespace {

void say(const QByteArray& line) {
    std::fputs((line + '\n').constData(), stdout);
    std::fflush(stdout);
}

} // namespace

int main(int argc, char** argv) {
    QStringList arguments;
    for (int i = 3; i < argc; ++i)
        arguments.append(QString::fromLocal8Bit(argv[i]));
    const Handover handover = Handover::ofThisStart(arguments, QDir::currentPath());
    const QCoreApplication application(argc, argv);
    SingleInstance instance(QString::fromLocal8Bit(argv[1]),
                            {.answerWithin = std::chrono::milliseconds(std::atoi(argv[2]))});
    QObject::connect(&instance, &SingleInstance::received, &instance,
                     [](const Handover& heard) { say(heard.encoded()); });
    using Start = SingleInstance::Start;
    static const QMap<Start, QByteArray> words{{Start::first, "first"},
                                               {Start::unguarded, "unguarded"},
                                               {Start::handedOver, "handedOver"},
                                               {Start::notTaken, "notTaken"},
                                               {Start::tooLarge, "tooLarge"}};
    const Start start = instance.start(handover);
    say(words.value(start));
    return start == Start::first ? QCoreApplication::exec() : 0;
}
