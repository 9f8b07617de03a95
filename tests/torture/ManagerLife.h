#pragma once

#include "manager/DownloadManager.h"
#include "support/ScriptedRunners.h"

#include <QJsonDocument>
#include <QStringList>

namespace fetra::test {

inline const QString statePath = QStringLiteral("Fetra/state.json");

/// A manager that keeps its list below a folder, from its start to its end.
struct ManagerLife {
    explicit ManagerLife(const QString& folder)
        : manager({.storeURL = QUrl::fromLocalFile(folder + u'/' + statePath),
                   .defaultDirectory = QUrl::fromLocalFile(folder)},
                  runners) {}

    void add(const QString& name) { manager.add({.url = address(name), .startImmediately = false}); }
    [[nodiscard]] static QUrl address(const QString& name) {
        return QUrl(QStringLiteral("http://host.example/") + name);
    }
    /// The addresses.
    [[nodiscard]] QStringList list() const {
        QStringList list;
        for (const DownloadManager::Item& item : manager.items())
            list.append(item->url().toString());
        return list;
    }
    /// Those in a state file; nothing when it is none.
    [[nodiscard]] static std::optional<QStringList> listIn(const QByteArray& content) {
        const auto state = ManagerState::fromJson(QJsonDocument::fromJson(content).object());
        if (!state)
            return std::nullopt;
        QStringList list;
        for (const DownloadRecord& record : state->items)
            list.append(record.url.toString());
        return list;
    }

    ScriptedRunners runners;
    DownloadManager manager;
};

} // namespace fetra::test
