#pragma once

#include <QByteArray>
#include <QVariant>

namespace emu {

// Writes an XML property list the way the Mac's tools print one: the XML and DOCTYPE lines,
// one TAB per level, dictionary keys in byte order, empty containers as <array/> and <dict/>.
// Values: QVariantMap (dict), QVariantList (array), bool, integers, QString.
QByteArray writePlist(const QVariantMap& root);

} // namespace emu
