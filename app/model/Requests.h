#pragma once

#include <QCoreApplication>
#include <QSet>
#include <QString>
#include <QUuid>

namespace fetra {

/// Asks for a fresh link grabber that opens with this text.
struct LinkGrabberRequest {
    QUuid id = QUuid::createUuid();
    QString text;

    bool operator==(const LinkGrabberRequest& other) const { return id == other.id; }
};

/// Asks the user whether downloads shall be removed.
struct RemovalRequest {
    Q_DECLARE_TR_FUNCTIONS(fetra::RemovalRequest)

public:
    QUuid id = QUuid::createUuid();
    /// Of the downloads.
    QSet<QUuid> ids;
    bool deleteFiles = false;

    bool operator==(const RemovalRequest& other) const { return id == other.id; }

    /// What the confirmation says, and what its button that removes says.
    [[nodiscard]] QString title() const;
    [[nodiscard]] QString message() const;
    [[nodiscard]] QString button() const;
};

} // namespace fetra
