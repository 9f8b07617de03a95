#include "system/PublicSuffixes.h"

#include <QUrl>
#include <QVarLengthArray>

#include <arpa/inet.h>
#include <libpsl.h>
#include <optional>

namespace fetra::PublicSuffixes {

namespace {

bool isAddress(const QByteArray& host) {
    in6_addr parsed{};
    return inet_pton(AF_INET, host.constData(), &parsed) == 1 ||
           inet_pton(AF_INET6, host.constData(), &parsed) == 1;
}

/// In lower case and ended by a zero; nothing where a character is not ASCII.
std::optional<QVarLengthArray<char, 64>> asciiLower(QStringView name) {
    QVarLengthArray<char, 64> lower;
    for (const QChar unit : name) {
        if (unit.unicode() >= 0x80)
            return std::nullopt;
        const char latin = unit.toLatin1();
        lower.append(latin >= 'A' && latin <= 'Z' ? static_cast<char>(latin + ('a' - 'A')) : latin);
    }
    lower.append('\0');
    return lower;
}

/// Without the list's last rule, by which every unknown last label counts as a suffix.
bool isListed(const char* name) {
    return *name != '\0' &&
           psl_is_public_suffix2(psl_builtin(), name, PSL_TYPE_ANY | PSL_TYPE_NO_STAR_RULE) == 1;
}

} // namespace

bool isPublicSuffix(QStringView name) {
    if (const auto ascii = asciiLower(name))
        return isListed(ascii->constData());
    return isListed(QUrl::toAce(name.toString()).toLower().constData());
}

QByteArray registrableDomain(const QByteArray& host) {
    if (isAddress(host))
        return {};
    return QByteArray(psl_registrable_domain(psl_builtin(), host.constData()));
}

} // namespace fetra::PublicSuffixes
