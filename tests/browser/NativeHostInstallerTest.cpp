#include "browser/NativeHostInstaller.h"

#include "support/TempFolder.h"

#include <gtest/gtest.h>
#include <QDir>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

namespace fetra {
namespace {

using namespace Qt::StringLiterals;
using test::TempFolder;

/// A home of its own, and an application folder in it that holds a host program.
class NativeHostInstallerTest : public ::testing::Test {
protected:
    NativeHostInstallerTest() {
        qputenv("XDG_DATA_HOME", folder_.path(u"data"_s).toUtf8());
        qputenv("XDG_CONFIG_HOME", folder_.path(u"config"_s).toUtf8());
        addHost(u"app"_s);
    }

    void addHost(const QString& bundle) const {
        QFile::setPermissions(folder_.write(bundle + "/Contents/Helpers/fetra-host"_L1, "#!"),
                              QFile::ReadOwner | QFile::ExeOwner);
    }
    void addFolder(const QString& path) const { QDir(folder_.path()).mkpath(path); }
    [[nodiscard]] int install(const QString& bundle = u"app"_s) const {
        return NativeHostInstaller::install(QUrl::fromLocalFile(folder_.path(bundle)));
    }

    const TempFolder folder_;
    const QString chrome_ = u"config/google-chrome/NativeMessagingHosts/com.fetra.host.json"_s;
    const QString brave_ = u"data/BraveSoftware/Brave-Browser/NativeMessagingHosts/com.fetra.host.json"_s;
};

TEST_F(NativeHostInstallerTest, EveryBrowserThatIsThereGetsAManifestOnce) {
    EXPECT_EQ(install(), 0);
    EXPECT_EQ(folder_.names(), QStringList{u"app"_s}) << "there is no browser yet";
    addFolder(u"config/google-chrome"_s);
    addFolder(u"data/BraveSoftware/Brave-Browser"_s);
    addFolder(u"config/firefox"_s);
    ASSERT_EQ(install(), 2);
    const QJsonObject expected{
        {u"name"_s, u"com.fetra.host"_s},
        {u"description"_s, u"Fetra download handoff"_s},
        {u"path"_s, folder_.path(u"app/Contents/Helpers/fetra-host"_s)},
        {u"type"_s, u"stdio"_s},
        {u"allowed_origins"_s, QJsonArray{u"chrome-extension://kembcdlbgbcnnchcnbdhbmbhbejnedjf/"_s}},
    };
    EXPECT_EQ(QJsonDocument::fromJson(folder_.read(chrome_)).object(), expected);
    EXPECT_EQ(folder_.read(brave_), folder_.read(chrome_));
    EXPECT_EQ(folder_.names(u"config/firefox"_s), QStringList());

    const ino_t before = folder_.inode(chrome_);
    EXPECT_EQ(install(), 2);
    EXPECT_EQ(folder_.inode(chrome_), before) << "as it was";

    addHost(u"moved"_s);
    EXPECT_EQ(install(u"moved"_s), 2);
    EXPECT_TRUE(
        folder_.read(chrome_).contains(folder_.path(u"moved/Contents/Helpers/fetra-host"_s).toUtf8()));
}

TEST_F(NativeHostInstallerTest, ABrowserThatCannotBeServedIsNamedAndTheOthersGoOn) {
    addFolder(u"config/google-chrome"_s);
    (void)folder_.write(u"data/Chromium/NativeMessagingHosts"_s, "in the way");
    (void)folder_.write(u"data/Vivaldi/NativeMessagingHosts/com.fetra.host.json/x"_s, "in the way");
    testing::internal::CaptureStderr();
    EXPECT_EQ(install(), 1);
    const QByteArray log = QByteArray::fromStdString(testing::internal::GetCapturedStderr());
    const QByteArray line = "[WRN] native host manifest not written for ";
    EXPECT_EQ(log, line + "Chromium: Not a directory\n" + line + "Vivaldi: Is a directory\n");
    EXPECT_TRUE(folder_.contains(chrome_));
}

TEST_F(NativeHostInstallerTest, WithoutAHostProgramNothingIsWritten) {
    addFolder(u"config/google-chrome"_s);
    addFolder(u"folder/Contents/Helpers/fetra-host"_s);
    (void)folder_.write(u"plain/Contents/Helpers/fetra-host"_s, "no program");
    for (const QString& bundle : {u"none"_s, u"folder"_s, u"plain"_s})
        EXPECT_EQ(install(bundle), 0) << bundle.toStdString();
    EXPECT_FALSE(folder_.contains(chrome_));
}

} // namespace
} // namespace fetra
