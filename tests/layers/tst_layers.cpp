#include "TestMain.h"
#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QHash>
#include <QRegularExpression>
#include <QSet>
#include <QTemporaryDir>
#include <QTest>

#include <functional>

// The include graph of src/ runs one way: app -> features -> ui and core -> platform. A file's
// layer is its top folder under src/; an include names the folder of what it includes.
namespace {

const QStringList features = {"volumes", "filecopy", "diskimage", "diskmanager", "osclone", "update"};

// The folders a file of `layer` may include from. Features may include other features, as long
// as no cycle forms (checked apart).
QSet<QString> allowedFrom(const QString& layer) {
    if (layer == "platform")
        return {"platform"};
    if (layer == "core")
        return {"core", "platform"};
    if (layer == "ui")
        return {"ui", "core", "platform"};
    if (features.contains(layer))
        return QSet<QString>(features.begin(), features.end()) + QSet<QString>{"ui", "core", "platform"};
    if (layer == "app")
        return QSet<QString>(features.begin(), features.end()) +
               QSet<QString>{"app", "ui", "core", "platform"};
    return {};
}

struct Include {
    QString file; // relative to the source root
    int line;
    QString target; // the included path as written
};

// Every #include "folder/..." under root, with the including file's path.
QList<Include> includesUnder(const QString& root) {
    static const QRegularExpression includeLine(QStringLiteral("^\\s*#\\s*include\\s*\"([^\"]+)\""));
    QList<Include> found;
    QDirIterator it(root, {"*.h", "*.cpp", "*.mm"}, QDir::Files, QDirIterator::Subdirectories);
    while (it.hasNext()) {
        const QString path = it.next();
        QFile file(path);
        if (!file.open(QIODevice::ReadOnly))
            continue;
        int number = 0;
        while (!file.atEnd()) {
            ++number;
            const auto match = includeLine.match(QString::fromUtf8(file.readLine()));
            if (match.hasMatch())
                found.append({QDir(root).relativeFilePath(path), number, match.captured(1)});
        }
    }
    return found;
}

QString layerOf(const QString& relativePath) {
    return relativePath.section('/', 0, 0);
}

// "file:line includes target" for every include that runs against the direction, plus any
// include without a folder (which hides where it points).
QStringList layerViolations(const QString& root) {
    QStringList violations;
    for (const Include& include : includesUnder(root)) {
        const QString from = layerOf(include.file);
        const QString to = include.target.contains('/') ? layerOf(include.target) : QString();
        if (!allowedFrom(from).contains(to))
            violations << QStringLiteral("%1:%2 includes %3")
                              .arg(include.file)
                              .arg(include.line)
                              .arg(include.target);
    }
    violations.sort();
    return violations;
}

// Cycles among features, as "a -> b -> a".
QStringList featureCycles(const QString& root) {
    QHash<QString, QSet<QString>> edges;
    for (const Include& include : includesUnder(root)) {
        const QString from = layerOf(include.file);
        const QString to = layerOf(include.target);
        if (from != to && features.contains(from) && features.contains(to))
            edges[from].insert(to);
    }
    QStringList cycles;
    QStringList path;
    std::function<void(const QString&)> walk = [&](const QString& node) {
        if (path.contains(node)) {
            if (node == path.first())
                cycles << (path + QStringList{node}).join(" -> ");
            return;
        }
        path << node;
        for (const QString& next : edges.value(node))
            walk(next);
        path.removeLast();
    };
    for (const QString& feature : features)
        walk(feature);
    return cycles;
}

QString sourceRoot() {
    return qEnvironmentVariable("TAVRILL_SOURCE_DIR") + QStringLiteral("/src");
}

void writeSource(const QDir& root, const QString& path, const QByteArray& text) {
    QVERIFY(root.mkpath(QFileInfo(root.filePath(path)).path()));
    QFile file(root.filePath(path));
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write(text);
}

} // namespace

class TestLayers : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void sourceTreeIncludesRunOneWay() {
        QVERIFY2(QFileInfo(sourceRoot() + "/core").isDir(), qPrintable(sourceRoot()));
        QVERIFY(includesUnder(sourceRoot()).size() > 100); // the tree was really read
        const QStringList violations = layerViolations(sourceRoot());
        QVERIFY2(violations.isEmpty(), qPrintable(violations.join('\n')));
        const QStringList cycles = featureCycles(sourceRoot());
        QVERIFY2(cycles.isEmpty(), qPrintable(cycles.join('\n')));
    }

    void wrongIncludesAreFound() {
        QTemporaryDir dir;
        const QDir root(dir.path());
        writeSource(root, "platform/Machine.h", "#include \"core/QvLog.h\"\n");
        writeSource(root, "core/QvTask.cpp",
                    "#include \"core/QvTask.h\"\n#include \"platform/Machine.h\"\n"
                    "#include <QProcess>\n  #  include \"ui/KitStyle.h\"\n");
        writeSource(root, "ui/Popover.cpp",
                    "#include \"core/ConsoleLog.h\"\n#include \"volumes/VolumeObj.h\"\n");
        writeSource(root, "volumes/Picker.cpp",
                    "#include \"ui/Popover.h\"\n#include \"app/AppDelegate.h\"\n");
        writeSource(root, "diskmanager/Cell.cpp", "#include \"volumes/VolumeObj.h\"\n#include \"Cell.h\"\n");
        writeSource(root, "app/Main.cpp", "#include \"diskmanager/Cell.h\"\n#include \"app/Main.h\"\n");
        QCOMPARE(layerViolations(dir.path()), (QStringList{
                                                  "core/QvTask.cpp:4 includes ui/KitStyle.h",
                                                  "diskmanager/Cell.cpp:2 includes Cell.h",
                                                  "platform/Machine.h:1 includes core/QvLog.h",
                                                  "ui/Popover.cpp:2 includes volumes/VolumeObj.h",
                                                  "volumes/Picker.cpp:2 includes app/AppDelegate.h",
                                              }));
    }

    void featureCyclesAreFound() {
        QTemporaryDir dir;
        const QDir root(dir.path());
        writeSource(root, "diskimage/MakeDmg.cpp", "#include \"filecopy/FileNode.h\"\n");
        writeSource(root, "filecopy/FileNode.cpp", "#include \"volumes/VolumeObj.h\"\n");
        QVERIFY(featureCycles(dir.path()).isEmpty());
        writeSource(root, "volumes/VolumeObj.cpp", "#include \"diskimage/MakeDmg.h\"\n");
        const QStringList cycles = featureCycles(dir.path());
        QVERIFY(cycles.contains("filecopy -> volumes -> diskimage -> filecopy"));
    }
};

TAVRILL_TEST(TestLayers)

#include "tst_layers.moc"
