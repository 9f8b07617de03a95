#pragma once

#include <QByteArray>
#include <QStringView>

/// What the public suffix list says about host names: where the part begins that one owner registered.
namespace fetra::PublicSuffixes {

/// Whether names are registered directly below `name`: "com", "co.uk", "рф". In any letter case, Unicode or
/// punycode; false for what the list does not know.
[[nodiscard]] bool isPublicSuffix(QStringView name);

/// The part of a lower-case punycode `host` that one owner registered ("example.co.uk"), or nothing for
/// addresses and public suffixes.
[[nodiscard]] QByteArray registrableDomain(const QByteArray& host);

} // namespace fetra::PublicSuffixes
