#include "EmuPlist.h"

#include <algorithm>

namespace emu {

namespace {

QByteArray escaped(const QString& s) {
    QByteArray out = s.toUtf8();
    out.replace('&', "&amp;");
    out.replace('<', "&lt;");
    out.replace('>', "&gt;");
    return out;
}

void writeValue(QByteArray& out, const QVariant& v, int depth) {
    const QByteArray indent(depth, '\t');
    switch (v.typeId()) {
    case QMetaType::QVariantMap: {
        const QVariantMap map = v.toMap();
        if (map.isEmpty()) {
            out += indent + "<dict/>\n";
            return;
        }
        // Keys in plain byte order of their UTF-8 form.
        QList<QByteArray> keys;
        for (auto it = map.cbegin(); it != map.cend(); ++it)
            keys << it.key().toUtf8();
        std::sort(keys.begin(), keys.end());
        out += indent + "<dict>\n";
        for (const QByteArray& k : keys) {
            out += indent + "\t<key>" + escaped(QString::fromUtf8(k)) + "</key>\n";
            writeValue(out, map.value(QString::fromUtf8(k)), depth + 1);
        }
        out += indent + "</dict>\n";
        return;
    }
    case QMetaType::QVariantList:
    case QMetaType::QStringList: {
        const QVariantList list = v.toList();
        if (list.isEmpty()) {
            out += indent + "<array/>\n";
            return;
        }
        out += indent + "<array>\n";
        for (const QVariant& item : list)
            writeValue(out, item, depth + 1);
        out += indent + "</array>\n";
        return;
    }
    case QMetaType::Bool:
        out += indent + (v.toBool() ? "<true/>\n" : "<false/>\n");
        return;
    case QMetaType::Int:
    case QMetaType::UInt:
    case QMetaType::LongLong:
    case QMetaType::ULongLong:
        out += indent + "<integer>" + QByteArray::number(v.toLongLong()) + "</integer>\n";
        return;
    default:
        out += indent + "<string>" + escaped(v.toString()) + "</string>\n";
    }
}

} // namespace

QByteArray writePlist(const QVariantMap& root) {
    QByteArray out = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
                     "<!DOCTYPE plist PUBLIC \"-//Apple//DTD PLIST 1.0//EN\" "
                     "\"http://www.apple.com/DTDs/PropertyList-1.0.dtd\">\n"
                     "<plist version=\"1.0\">\n";
    writeValue(out, root, 0);
    out += "</plist>\n";
    return out;
}

} // namespace emu
