#pragma once

#include "app/desktop/Alerts.h"
#include "app/desktop/Badge.h"
#include "app/desktop/Desktop.h"
#include "app/desktop/NotificationCenter.h"
#include "app/desktop/OpenPanels.h"
#include "app/desktop/Pasteboard.h"
#include "app/desktop/PreferencesStore.h"
#include "app/desktop/Tray.h"
#include "app/desktop/Windows.h"
#include "app/desktop/Workspace.h"

#include <QHash>

#include <functional>
#include <optional>
#include <vector>

namespace fetra::test {

// Each answers as the test says and keeps what it was asked.

struct FakePasteboard final : Pasteboard {
    /// As another program, or the user in one, would.
    void copy(const std::optional<QString>& copied) {
        content = copied;
        ++count;
    }

    [[nodiscard]] qint64 changeCount() const override {
        ++asked;
        return count;
    }
    [[nodiscard]] std::optional<QString> text() const override {
        const std::optional<QString> before = content;
        if (onRead)
            onRead();
        return before;
    }
    [[nodiscard]] bool setText(const QString& text) override {
        if (!refuses)
            copy(text);
        return !refuses;
    }

    std::optional<QString> content;
    qint64 count = 0;
    mutable int asked = 0;
    std::function<void()> onRead;
    bool refuses = false;
};

struct FakePreferences final : PreferencesStore {
    void registerDefaults(const QHash<QString, QVariant>& more) override { defaults.insert(more); }
    [[nodiscard]] QVariant value(const QString& key) const override {
        return values.value(key, defaults.value(key));
    }
    void setValue(const QString& key, const QVariant& value) override { values.insert(key, value); }

    QHash<QString, QVariant> defaults;
    QHash<QString, QVariant> values;
};

struct FakeNotifications final : NotificationCenter {
    [[nodiscard]] bool isUsable() const override { return usable; }
    void setActivationHandler(Activation handler) override { activate = std::move(handler); }
    void requestAuthorization(Completion completion) override {
        ++requests;
        completion(error);
    }
    void add(const Notification& notification, Completion completion) override {
        added.append(notification);
        completion(error);
    }

    bool usable = true;
    std::optional<QString> error;
    int requests = 0;
    QList<Notification> added;
    Activation activate;
};

struct FakeBadge final : Badge {
    void show(qint64 count) override { shown = count; }

    std::optional<qint64> shown;
};

struct FakeWorkspace final : Workspace {
    [[nodiscard]] bool open(const QUrl& file) override {
        opened.append(file);
        return !refuses;
    }
    void reveal(const QList<QUrl>& files, const QString& activationToken = {}) override {
        revealed.append(files);
        token = activationToken;
    }

    bool refuses = false;
    QList<QUrl> opened;
    /// A list a call.
    QList<QList<QUrl>> revealed;
    /// Of the last of them.
    QString token;
};

struct FakePanels final : OpenPanels {
    void show(const OpenPanel& panel, std::function<void(const QList<QUrl>&)> chosen) override {
        shown.push_back(panel);
        choose = std::move(chosen);
    }

    std::vector<OpenPanel> shown;
    /// What the user would do with the last one.
    std::function<void(const QList<QUrl>&)> choose;
};

struct FakeAlerts final : Alerts {
    void warn(const Alert& alert, std::function<void(qsizetype)> answered) override {
        shown.push_back(alert);
        answer = std::move(answered);
    }

    std::vector<Alert> shown;
    /// What the user would do with the last one.
    std::function<void(qsizetype)> answer;
};

struct FakeWindows final : Windows {
    void openMain() override {}
};

struct FakeTray final : Tray {
    [[nodiscard]] bool isAvailable() const override { return available; }
    [[nodiscard]] bool colorsSymbols() const override { return true; }

    bool available = true;
};

struct FakeDesktop {
    FakePasteboard pasteboard;
    FakePreferences preferences;
    FakeNotifications notifications;
    FakeBadge badge;
    FakeWorkspace workspace;
    FakePanels panels;
    FakeAlerts alerts;
    FakeWindows windows;
    FakeTray tray;

    [[nodiscard]] Desktop desktop() {
        return {pasteboard, preferences, notifications, badge, workspace, panels, alerts, windows, tray};
    }
};

} // namespace fetra::test
