#include "app/desktop/StoredPreferences.h"

#include "support/Environment.h"
#include "support/TempFolder.h"

#include <gtest/gtest.h>

namespace fetra::test {
namespace {

using namespace Qt::StringLiterals;

TEST(StoredPreferencesTest, KeepsWhatWasSetWithItsValue) {
    const QVariantHash values{
        {u"off"_s, false},
        {u"large"_s, qint64(1) << 52},
        {u"Text"_s, u"a, \"b\"; %c\nü \U0001F600 = [x]\\"_s},
        {u"list"_s, QStringList{u"a"_s, u"b, c"_s}},
        {u"a group/ü bytes"_s, QByteArray("\0\xff\n", 3)},
    };
    const TempFolder folder;
    const Environment configuration("XDG_CONFIG_HOME", QFile::encodeName(folder.path()));
    {
        StoredPreferences preferences;
        for (auto value = values.begin(); value != values.end(); ++value)
            preferences.setValue(value.key(), *value);
    }
    EXPECT_EQ(folder.mode(u"Fetra"_s), 0700U);
    EXPECT_EQ(folder.names(u"Fetra"_s), QStringList{u"Preferences.json"_s});
    StoredPreferences again;
    for (auto value = values.begin(); value != values.end(); ++value) {
        again.registerDefaults({{value.key(), QVariant(value->metaType())}});
        EXPECT_EQ(again.value(value.key()), *value) << value.key().toStdString();
    }

    folder.write(u"file"_s, "");
    for (const QString& name : {u"Fetra"_s, u"file/Preferences.json"_s}) {
        StoredPreferences homeless(folder.path(name));
        homeless.setValue(u"on"_s, false);
        EXPECT_EQ(homeless.value(u"on"_s), false) << "as long as the application runs";
    }
    EXPECT_EQ(folder.names(), (QStringList{u"Fetra"_s, u"file"_s}));
}

TEST(StoredPreferencesTest, DefaultsAnswerUntilAValueIsSetAndNothingElseIsStored) {
    const TempFolder folder;
    const QString path = folder.write(u"real.json"_s, R"({"old":1,"changed":1})");
    ASSERT_TRUE(QFile::setPermissions(path, QFile::ReadOwner | QFile::ReadOther));
    ASSERT_TRUE(QFile::link(path, folder.path(u"link.json"_s)));
    {
        StoredPreferences preferences(folder.path(u"link.json"_s));
        EXPECT_EQ(folder.mode(u"real.json"_s), 0600U) << "from the start";
        folder.write(u"real.json"_s, R"({"old":1,"changed":2,"theirs":1})");
        preferences.setValue(u"set"_s, false);
        preferences.registerDefaults({{u"set"_s, true}, {u"first"_s, 2}});
        EXPECT_EQ(preferences.value(u"set"_s), false);
        EXPECT_EQ(preferences.value(u"first"_s), 2);
    }
    EXPECT_EQ(folder.mode(u"real.json"_s), 0600U);
    const StoredPreferences again(path);
    for (const auto& [key, value] : {std::pair(u"set"_s, QVariant(false)),
                                     {u"old"_s, 1},
                                     {u"changed"_s, 2},
                                     {u"theirs"_s, 1},
                                     {u"first"_s, {}}})
        EXPECT_EQ(again.value(key), value) << key.toStdString();
}

TEST(StoredPreferencesTest, DamageYieldsDefaultsAndCanBeRepaired) {
    const QByteArray cases[] = {
        QByteArray("\x00\xff\xfe[[[=\n]==\"\n", 13),
        R"({"on":tr)",
        R"({"on":"true","number":true})",
        R"({"on":1,"number":"perhaps"})",
        R"({"on":{"base64":"dHJ1ZQ=="},"number":1e10})",
        R"({"on":true,"number":1,"x":")" + QByteArray(2'000'000, 'x') + "\"}",
    };
    for (const QByteArray& content : cases) {
        SCOPED_TRACE(content.first(std::min<qsizetype>(content.size(), 40)).toStdString());
        const TempFolder folder;
        const QString path = folder.write(u"p.json"_s, content);
        {
            StoredPreferences preferences(path);
            preferences.registerDefaults({{u"on"_s, false}, {u"number"_s, 7}});
            EXPECT_EQ(preferences.value(u"on"_s), false);
            EXPECT_EQ(preferences.value(u"number"_s), 7);
            preferences.setValue(u"on"_s, true);
        }
        EXPECT_EQ(StoredPreferences(path).value(u"on"_s), true);
    }
}

} // namespace
} // namespace fetra::test
