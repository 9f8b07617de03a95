#include "browser/CaptureJob.h"

#include "system/AbsoluteURL.h"
#include "system/AtomicFile.h"
#include "system/MakeFolder.h"
#include "system/MoveFile.h"
#include "system/PosixError.h"
#include "system/PosixFile.h"

#include <QJsonDocument>
#include <QUuid>

#include <algorithm>
#include <array>
#include <cerrno>

namespace fetra {

using namespace Qt::StringLiterals;

namespace {

struct TextField {
    QLatin1StringView key;
    QString CaptureJob::*member;
};

constexpr std::array textFields = {
    TextField{"cookie"_L1, &CaptureJob::cookie},       TextField{"referrer"_L1, &CaptureJob::referrer},
    TextField{"userAgent"_L1, &CaptureJob::userAgent}, TextField{"directory"_L1, &CaptureJob::directory},
    TextField{"filename"_L1, &CaptureJob::filename},
};

bool isTooLong(const QJsonValue& value) {
    return value.isString() && value.toString().toUtf8().size() > CaptureJob::maxStringBytes;
}

/// Empty for what is no text, lone surrogates included: they could not be written again.
QString text(const QJsonObject& object, QLatin1StringView key) {
    const QString value = object.value(key).toString();
    return value.isValidUtf16() ? value : QString();
}

bool hasControlCharacter(const QString& text) {
    return std::ranges::any_of(text, [](QChar c) { return c.category() == QChar::Other_Control; });
}

QByteArray fileContent(const CaptureJob& job) {
    return QJsonDocument(job.toJson()).toJson(QJsonDocument::Compact);
}

} // namespace

std::optional<CaptureJob> CaptureJob::parse(const QByteArray& content) {
    if (content.size() > maxFileBytes)
        return std::nullopt;
    const QJsonDocument document = QJsonDocument::fromJson(content);
    return document.isObject() ? fromJson(document.object()) : std::nullopt;
}

std::optional<CaptureJob> CaptureJob::fromJson(const QJsonObject& object) {
    if (std::any_of(object.begin(), object.end(), [](const auto& value) { return isTooLong(value); }))
        return std::nullopt;
    CaptureJob job{.url = QUrl(text(object, "url"_L1))};
    if (!job.url.isValid() || job.url.isRelative())
        return std::nullopt;
    for (const TextField& field : textFields)
        job.*field.member = text(object, field.key);
    return job;
}

QJsonObject CaptureJob::toJson() const {
    QJsonObject object{{u"url"_s, absoluteString(url)}};
    for (const TextField& field : textFields)
        if (const QString& value = this->*field.member; !value.isEmpty())
            object.insert(field.key, value);
    return object;
}

QMap<QString, QString> CaptureJob::headers() const {
    QMap<QString, QString> headers{
        {u"Cookie"_s, cookie}, {u"Referer"_s, referrer}, {u"User-Agent"_s, userAgent}};
    headers.removeIf([](auto header) { return header->isEmpty() || hasControlCharacter(*header); });
    return headers;
}

QString CaptureJob::deposit(const QString& folder) const {
    const QByteArray content = fileContent(*this);
    if (!parse(content))
        throw PosixError(EFBIG);
    MakeFolder::withParents(folder);
    const QString name = QUuid::createUuid().toString(QUuid::WithoutBraces);
    const QString hidden = folder + "/."_L1 + name;
    const QString path = folder + u'/' + name + u'.' + QLatin1StringView(fileExtension);
    try {
        AtomicFile::write(hidden, content);
        if (!MoveFile::withoutReplacing(hidden, path))
            throw PosixError(EEXIST);
    } catch (const PosixError&) {
        PosixFile::unlink(hidden);
        throw;
    }
    return path;
}

} // namespace fetra
