#include "app/model/AppDelegate.h"

#include "model/ModelWorld.h"

#include <QFile>

namespace fetra {
namespace {

using namespace Qt::StringLiterals;
using test::runUntil;

class AppDelegateTest : public test::ModelWorld {
protected:
    AppDelegate delegate{file(u"bundle"_s)};
};

TEST_F(AppDelegateTest, LaunchingTellsBrowsersOfTheHostAndStartsTheModel) {
    qputenv("XDG_CONFIG_HOME", folder.path(u"config"_s).toUtf8());
    qputenv("XDG_DATA_HOME", folder.path(u"data"_s).toUtf8());
    folder.write(u"config/chromium/profile"_s, "");
    QFile::setPermissions(folder.write(u"bundle/Contents/Helpers/fetra-host"_s, "#!"),
                          QFile::ReadOwner | QFile::ExeOwner);
    delegate.applicationWillFinishLaunching();
    EXPECT_FALSE(fake.notifications.activate);
    delegate.setModel(&model());
    delegate.applicationWillFinishLaunching();
    EXPECT_TRUE(fake.notifications.activate);
    delegate.applicationDidFinishLaunching();
    EXPECT_EQ(fake.notifications.requests, 1);
    EXPECT_TRUE(runUntil([&] {
        return folder.contains(u"config/chromium/NativeMessagingHosts/com.fetra.host.json"_s) &&
               fake.badge.shown;
    }));
}

TEST_F(AppDelegateTest, OpeningTakesTorrentFilesFirstThenLinksAndIgnoresOtherFiles) {
    const QString magnet = u"magnet:?xt=urn:btih:0123456789abcdef0123456789abcdef01234567"_s;
    delegate.application({QUrl(magnet)});
    EXPECT_TRUE(manager().items().isEmpty());
    delegate.setModel(&model());
    delegate.application({QUrl(magnet), file(u"a.zip"_s), file(u"b.torrent"_s)});
    ASSERT_EQ(manager().items().size(), 2);
    EXPECT_EQ(item(0)->url(), file(u"b.torrent"_s));
    EXPECT_EQ(item(1)->url(), QUrl(magnet));
    EXPECT_EQ(error(), QString());
}

TEST_F(AppDelegateTest, TheLastWindowEndsTheApplicationUnlessAnIconRemains) {
    delegate.setModel(&model());
    struct Case {
        bool showsIcon, hasTray, ends;
    };
    for (const auto& [showsIcon, hasTray, ends] : {Case{true, true, false}, Case{true, false, true},
                                                   Case{false, true, true}, Case{false, false, true}}) {
        model().settings().set(AppSettings::showMenuBar, showsIcon);
        fake.tray.available = hasTray;
        EXPECT_EQ(delegate.applicationShouldTerminateAfterLastWindowClosed(), ends);
    }
}

} // namespace
} // namespace fetra
