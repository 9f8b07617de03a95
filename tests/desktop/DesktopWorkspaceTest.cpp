#include "app/desktop/DesktopWorkspace.h"

#include "desktop/MockService.h"
#include "desktop/PrivateBus.h"
#include "support/EventLoop.h"
#include "support/TempFolder.h"

#include <gtest/gtest.h>
#include <QFileInfo>
#include <QSet>

namespace fetra {

using namespace Qt::StringLiterals;
using namespace test;

namespace {

class DesktopWorkspaceTest : public ::testing::Test {
protected:
    [[nodiscard]] QUrl file(const QString& name) const {
        return QUrl::fromLocalFile(folder.write(name, "x"));
    }
    [[nodiscard]] QUrl folderUrl() const { return QUrl::fromLocalFile(folder.path()); }

    TempFolder folder;
    PrivateBus bus;
    QList<QUrl> opened;
    bool opens = true;
    QDBusConnection application = bus.connect();
    DesktopWorkspace workspace{application, [this](const QUrl& url) {
                                   opened.append(url);
                                   return opens;
                               }};
};

TEST_F(DesktopWorkspaceTest, RevealsAllFilesInOneCallByUrisThatLeadBackToThem) {
    MockService manager(bus, MockService::fileManager);
    manager.addMethod(u"ShowItems"_s, u"ass"_s, {}, {});
    const QStringList names{u"%41%2F"_s, u"a #b?c=d&e;f"_s, u"[x]{y}'\"z"_s, u"new\nline"_s,
                            u"Ünï \U0001F4BE"_s};
    QList<QUrl> files{QUrl(u"https://example.org/elsewhere"_s), folderUrl()};
    QStringList paths{folder.path()};
    for (const QString& name : names) {
        files.append(file(name));
        paths.append(folder.path(name));
    }
    workspace.reveal(files, u"token"_s);
    ASSERT_TRUE(runUntil([&] { return !manager.calls(u"ShowItems"_s).isEmpty(); }));

    const QList<QVariantList> calls = manager.calls(u"ShowItems"_s);
    ASSERT_EQ(calls.size(), 1);
    QStringList arrived;
    for (const QString& uri : calls.at(0).at(0).toStringList()) {
        ASSERT_TRUE(uri.startsWith("file:///"_L1)) << uri.toStdString();
        // By hand, as a program without QUrl reads it.
        EXPECT_FALSE(uri.contains(u'#') || uri.contains(u'?') || uri.contains(u' ')) << uri.toStdString();
        arrived.append(QString::fromUtf8(QByteArray::fromPercentEncoding(uri.mid(7).toLatin1())));
    }
    EXPECT_EQ(arrived, paths);
    EXPECT_EQ(calls.at(0).at(1), u"token"_s);
    EXPECT_TRUE(opened.isEmpty());
}

TEST_F(DesktopWorkspaceTest, OpensTheFolderWhereNoFileManagerSelectsItems) {
    const QUrl first = file(u"sub 1%/a#"_s);
    // The answers to several questions may come in any order.
    const QSet<QUrl> folders{QUrl::fromLocalFile(folder.path(u"sub 1%"_s)), folderUrl()};
    const auto haveOpened = [&] { return QSet<QUrl>(opened.begin(), opened.end()) == folders; };
    const auto reveal = [&] {
        opened.clear();
        workspace.reveal({first, file(u"b"_s)});
        workspace.reveal({QUrl::fromLocalFile(folder.path(u"no/where"_s))});
        workspace.reveal({folderUrl(), first});
    };
    reveal();
    EXPECT_TRUE(runUntil(haveOpened)) << "there is none";
    MockService manager(bus, MockService::fileManager);
    const auto fail = [&](const QString& error) {
        manager.addMethod(u"ShowItems"_s, u"ass"_s, {},
                          u"raise dbus.exceptions.DBusException('no', name='%1')"_s.arg(error));
    };
    fail(u"org.example.No"_s);
    reveal();
    EXPECT_TRUE(runUntil(haveOpened)) << "it cannot";
    fail(u"org.freedesktop.DBus.Error.NoReply"_s);
    reveal();
    PrivateBus::settle(application, MockService::fileManager.name);
    EXPECT_EQ(opened, QList<QUrl>()) << "it may still show them";
}

TEST_F(DesktopWorkspaceTest, OpensFilesThatAreThereAndShowsLaunchersInstead) {
    const QUrl there = file(u"50% #1?.iso"_s);
    EXPECT_TRUE(workspace.open(there));
    for (const QUrl& url : {QUrl::fromLocalFile(folder.path(u"gone"_s)), QUrl(u"https://example.org/"_s)})
        EXPECT_FALSE(workspace.open(url)) << url.toString().toStdString();
    EXPECT_EQ(opened, QList<QUrl>{there});
    opens = false;
    EXPECT_FALSE(workspace.open(there)) << "refused";

    for (const QString& name : {u"a/invoice.pdf.desktop"_s, u"b/invoice"_s}) {
        opened.clear();
        const QString path = folder.write(name, "[Desktop Entry]\nType=Application\nExec=true\n");
        EXPECT_TRUE(workspace.open(QUrl::fromLocalFile(path)));
        EXPECT_TRUE(runUntil([&] { return !opened.isEmpty(); }));
        EXPECT_EQ(opened, QList<QUrl>{QUrl::fromLocalFile(QFileInfo(path).path())});
    }
}

} // namespace
} // namespace fetra
