#include "browser/CaptureJob.h"
#include "helpers/host/MessageFrames.h"
#include "support/TempFolder.h"

#include <gtest/gtest.h>
#include <QProcess>
#include <QProcessEnvironment>

namespace fetra::host {
namespace {

using namespace Qt::StringLiterals;

TEST(HostProgramTest, TurnsMessagesIntoJobFilesAndAnswersEachUntilTheInputEnds) {
    const test::TempFolder folder;
    QProcess host;
    QProcessEnvironment environment;
    environment.insert(u"XDG_DATA_HOME"_s, folder.path());
    host.setProcessEnvironment(environment);
    host.start(QStringLiteral(FETRA_BIN_DIR "/../lib/fetra/Contents/Helpers/fetra-host"),
               {u"chrome-extension://kembcdlbgbcnnchcnbdhbmbhbejnedjf/"_s});
    const auto write = [&](const QByteArray& bytes) {
        host.write(bytes);
        while (host.bytesToWrite() > 0 && host.waitForBytesWritten())
            ;
    };
    const QByteArray message =
        MessageFrames::encoded(R"({"url":"https://a.test/f","cookie":"secret","filename":"f.iso"})");
    const QByteArray yes = MessageFrames::encoded(R"({"ok":true})");

    write(message.first(7));
    write(message.sliced(7));
    // The answer comes while the browser still holds its end open.
    while (host.bytesAvailable() < yes.size() && host.waitForReadyRead())
        ;
    EXPECT_EQ(host.readAllStandardOutput(), yes);
    const QStringList names = folder.names(u"Fetra/inbox"_s);
    ASSERT_EQ(names.size(), 1);
    EXPECT_EQ(
        CaptureJob::parse(folder.read(u"Fetra/inbox/"_s + names[0])),
        (CaptureJob{.url = QUrl(u"https://a.test/f"_s), .cookie = u"secret"_s, .filename = u"f.iso"_s}));

    write(MessageFrames::encoded(QByteArray(1'048'577, 'x')) + MessageFrames::encoded("") + message +
          MessageFrames::encoded(QByteArray(1'048'576, ' ')) + message.first(7));
    host.closeWriteChannel();
    ASSERT_TRUE(host.waitForFinished());
    EXPECT_TRUE(host.exitStatus() == QProcess::NormalExit && host.exitCode() == 0);
    const QByteArray badLength =
        MessageFrames::encoded(R"({"error":"The message must have 1 to 1048576 bytes.","ok":false})");
    const QByteArray noObject =
        MessageFrames::encoded(R"({"error":"The message is not a JSON object.","ok":false})");
    EXPECT_EQ(host.readAllStandardOutput(), badLength + badLength + yes + noObject);
    EXPECT_EQ(host.readAllStandardError(), "");
    EXPECT_EQ(folder.names(u"Fetra/inbox"_s).size(), 2);
}

} // namespace
} // namespace fetra::host
