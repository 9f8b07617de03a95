#pragma once

#include <QStringList>
#include <QStringView>

/// The places of running text that a reader would click on.
namespace fetra::LinkDetector {

/// The http and https addresses in `text`, in text order, repeated as often as they stand there. Bare host
/// names get "http://" in front, "&amp;" is read as the "&" it stands for. Takes time linear in the size of
/// the text. What comes back has the shape of an address; whether it is a valid URL is for the caller to find
/// out.
[[nodiscard]] QStringList addresses(QStringView text);

} // namespace fetra::LinkDetector
