#pragma once

#include <QByteArray>
#include <QList>
#include <QString>
#include <QStringList>
#include <QUrl>

#include <optional>

namespace fetra {

/// What a start of the application asks for, as it goes to the instance that runs already. Addresses may
/// hold secrets: none of this belongs in a log line.
struct Handover {
    static constexpr qsizetype maxMessageBytes = 1'048'576;
    static constexpr qsizetype maxOpened = 4096;
    /// Of one address, fully encoded.
    static constexpr qsizetype maxURLBytes = 65'536;
    static constexpr qsizetype maxTokenBytes = 1024;

    /// Absolute. With none the start only asks for the window.
    QList<QUrl> opened = {};
    /// By which the desktop lets the other instance raise its window; empty when the desktop gave none.
    QString activationToken = {};

    /// `arguments` are addresses and paths; paths may be relative to `workingFolder`. The token is taken from
    /// the environment, where it is only until there is a QGuiApplication.
    [[nodiscard]] static Handover ofThisStart(const QStringList& arguments, const QString& workingFolder);

    /// Nothing for what is malformed, of another version, or beyond the limits above.
    [[nodiscard]] static std::optional<Handover> parse(const QByteArray& message);
    /// One line without its end. Beyond the limits nobody will parse it.
    [[nodiscard]] QByteArray encoded() const;

    bool operator==(const Handover&) const = default;
};

} // namespace fetra
