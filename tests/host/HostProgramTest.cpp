#include "browser/CaptureJob.h"
#include "helpers/host/MessageFrames.h"
#include "support/TempFolder.h"

#include <gtest/gtest.h>
#include <QFileInfo>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QProcessEnvironment>

namespace fetra::host {
namespace {

using namespace Qt::StringLiterals;
using test::TempFolder;

/// The real program, started from the application folder as a browser does it.
class HostProgram {
public:
    explicit HostProgram(const QString& dataHome) {
        QProcessEnvironment environment;
        environment.insert(u"XDG_DATA_HOME"_s, dataHome);
        process_.setProcessEnvironment(environment);
        process_.start(QStringLiteral(FETRA_BIN_DIR "/../lib/fetra/Contents/Helpers/fetra-host"),
                       {u"chrome-extension://kembcdlbgbcnnchcnbdhbmbhbejnedjf/"_s});
    }

    void write(const QByteArray& bytes) {
        process_.write(bytes);
        while (process_.bytesToWrite() > 0 && process_.waitForBytesWritten())
            ;
    }
    /// The next reply's `ok`; nothing when none comes.
    std::optional<bool> reply() {
        for (;;) {
            if (const auto frame = replies_.next())
                return QJsonDocument::fromJson(frame->content).object().value(u"ok"_s).toBool();
            if (!process_.waitForReadyRead())
                return std::nullopt;
            replies_.append(process_.readAllStandardOutput());
        }
    }
    /// The exit status after the end of its input; -1 when it crashed or did not end.
    int end() {
        process_.closeWriteChannel();
        const bool ended = process_.waitForFinished() && process_.exitStatus() == QProcess::NormalExit;
        return ended ? process_.exitCode() : -1;
    }
    QByteArray errors() { return process_.readAllStandardError(); }

private:
    QProcess process_;
    MessageFrames replies_;
};

TEST(HostProgramTest, TurnsMessagesIntoJobFilesAndAnswersEach) {
    const TempFolder folder;
    HostProgram host(folder.path());
    const QByteArray message =
        MessageFrames::encoded(R"({"url":"https://a.test/f","cookie":"secret","filename":"f.iso"})");
    host.write(message.first(7));
    host.write(message.sliced(7));
    EXPECT_EQ(host.reply(), true);
    const QStringList names = folder.names(u"Fetra/inbox"_s);
    ASSERT_EQ(names.size(), 1);
    EXPECT_EQ(QFileInfo(names[0]).suffix(), u"fetrajob"_s);
    EXPECT_EQ(
        CaptureJob::parse(folder.read(u"Fetra/inbox/"_s + names[0])),
        (CaptureJob{.url = QUrl(u"https://a.test/f"_s), .cookie = u"secret"_s, .filename = u"f.iso"_s}));

    host.write(MessageFrames::encoded("{}") + QByteArray(4, '\0') +
               MessageFrames::encoded(QByteArray(2'000'000, 'x')) +
               MessageFrames::encoded(R"({"url":"magnet:?xt=urn:btih:00"})"));
    for (const bool expected : {false, false, false, true})
        EXPECT_EQ(host.reply(), expected);
    host.write(message.first(7));
    EXPECT_EQ(host.end(), 0);
    EXPECT_EQ(host.reply(), std::nullopt);
    EXPECT_EQ(host.errors(), "");
    EXPECT_EQ(folder.names(u"Fetra/inbox"_s).size(), 2);
}

} // namespace
} // namespace fetra::host
