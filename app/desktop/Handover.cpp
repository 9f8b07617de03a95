#include "app/desktop/Handover.h"

#include "system/AbsoluteURL.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <algorithm>

namespace fetra {

using namespace Qt::StringLiterals;

namespace {

constexpr int version = 1;

/// Printable ASCII: it goes into requests of the window system.
bool isToken(const QString& text) {
    return text.size() <= Handover::maxTokenBytes &&
           std::ranges::all_of(text, [](QChar c) { return c > u' ' && c <= u'~'; });
}

bool isOpenable(const QUrl& url) {
    return url.isValid() && !url.isRelative() && absoluteString(url).size() <= Handover::maxURLBytes;
}

} // namespace

Handover Handover::ofThisStart(const QStringList& arguments, const QString& workingFolder) {
    Handover handover;
    for (const QString& argument : arguments) {
        const QUrl url = QUrl::fromUserInput(argument, workingFolder, QUrl::AssumeLocalFile);
        if (isOpenable(url))
            handover.opened.append(url);
    }
    for (const char* name : {"XDG_ACTIVATION_TOKEN", "DESKTOP_STARTUP_ID"})
        if (const QString token = qEnvironmentVariable(name);
            handover.activationToken.isEmpty() && isToken(token))
            handover.activationToken = token;
    return handover;
}

std::optional<Handover> Handover::parse(const QByteArray& message) {
    if (message.size() > maxMessageBytes)
        return std::nullopt;
    const QJsonObject object = QJsonDocument::fromJson(message).object();
    const QJsonValue opened = object.value("opened"_L1);
    const QJsonValue token = object.value("activationToken"_L1);
    if (object.value("version"_L1) != QJsonValue(version) || !opened.isArray() || !token.isString())
        return std::nullopt;

    Handover handover{.activationToken = token.toString()};
    const QJsonArray addresses = opened.toArray();
    if (addresses.size() > maxOpened || !isToken(handover.activationToken))
        return std::nullopt;
    for (const QJsonValue& address : addresses) {
        const QString text = address.toString();
        const QUrl url = text.isValidUtf16() ? QUrl(text) : QUrl();
        if (!isOpenable(url))
            return std::nullopt;
        handover.opened.append(url);
    }
    return handover;
}

QByteArray Handover::encoded() const {
    QJsonArray addresses;
    for (const QUrl& url : opened)
        addresses.append(absoluteString(url));
    const QJsonObject object{
        {u"version"_s, version}, {u"opened"_s, addresses}, {u"activationToken"_s, activationToken}};
    return QJsonDocument(object).toJson(QJsonDocument::Compact);
}

} // namespace fetra
