#include "http/HeaderRules.h"

#include <algorithm>
#include <array>
#include <string_view>

namespace fetra::HeaderRules {

namespace {

using namespace std::string_view_literals;

constexpr std::array reservedNames = {
    "accept-encoding"sv,
    "connection"sv,
    "content-length"sv,
    "expect"sv,
    "host"sv,
    "if-match"sv,
    "if-none-match"sv,
    "if-modified-since"sv,
    "if-range"sv,
    "if-unmodified-since"sv,
    "keep-alive"sv,
    "proxy-connection"sv,
    "range"sv,
    "te"sv,
    "trailer"sv,
    "transfer-encoding"sv,
    "upgrade"sv,
};
constexpr std::array secretNames = {"authorization"sv, "cookie"sv};

bool isOneOf(const QByteArray& name, const auto& names) {
    const QByteArray lower = name.toLower();
    return std::ranges::find(names, std::string_view(lower.constData(), static_cast<size_t>(lower.size()))) !=
           names.end();
}

bool isTokenCharacter(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') ||
           "!#$%&'*+-.^_`|~"sv.find(c) != std::string_view::npos;
}

} // namespace

bool isValidName(const QByteArray& name) {
    return !name.isEmpty() && std::ranges::all_of(name, isTokenCharacter);
}

bool isValidValue(const QByteArray& value) {
    return std::ranges::all_of(value, [](char c) {
        const auto byte = static_cast<unsigned char>(c);
        return (byte >= 0x20 && byte != 0x7f) || c == '\t';
    });
}

bool isReserved(const QByteArray& name) {
    return isOneOf(name, reservedNames);
}

bool isSecret(const QByteArray& name) {
    return isOneOf(name, secretNames);
}

} // namespace fetra::HeaderRules
