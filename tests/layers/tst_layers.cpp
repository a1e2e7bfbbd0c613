#include "TestMain.h"
#include "TreeCompare.h"

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

// A file may include from its own layer and the layers below it; features may include other
// features, as long as no cycle forms (checked apart). Anything else ranks -1.
int rank(const QString& layer) {
    if (layer == "app")
        return 4;
    return features.contains(layer) ? 3 : QStringList{"platform", "core", "ui"}.indexOf(layer);
}

// "file:line includes target" for every include that runs against the direction, or that names
// no folder (which hides where it points), then every cycle among features as "a -> b -> a".
QStringList layerProblems(const QString& root) {
    static const QRegularExpression includeLine(QStringLiteral("^\\s*#\\s*include\\s*\"([^\"]+)\""));
    QStringList problems;
    QHash<QString, QSet<QString>> edges;
    QDirIterator it(root, {"*.h", "*.cpp", "*.mm"}, QDir::Files, QDirIterator::Subdirectories);
    while (it.hasNext()) {
        QFile file(it.next());
        const QString path = QDir(root).relativeFilePath(file.fileName());
        const QString from = path.section('/', 0, 0);
        if (!file.open(QIODevice::ReadOnly))
            continue;
        for (int number = 1; !file.atEnd(); ++number) {
            const QString target = includeLine.match(QString::fromUtf8(file.readLine())).captured(1);
            const QString to = target.contains('/') ? target.section('/', 0, 0) : QString();
            if (!target.isEmpty() && (rank(to) < 0 || rank(to) > rank(from)))
                problems << QStringLiteral("%1:%2 includes %3").arg(path).arg(number).arg(target);
            else if (from != to && rank(from) == 3 && rank(to) == 3)
                edges[from].insert(to);
        }
    }
    problems.sort();
    QStringList path;
    std::function<void(const QString&)> walk = [&](const QString& node) {
        if (path.contains(node)) {
            if (node == path.first())
                problems << (path + QStringList{node}).join(" -> ");
            return;
        }
        path << node;
        for (const QString& next : edges.value(node))
            walk(next);
        path.removeLast();
    };
    for (const QString& feature : features)
        walk(feature);
    return problems;
}

} // namespace

class TestLayers : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void sourceTreeIncludesRunOneWay() {
        const QString root = qEnvironmentVariable("TAVRILL_SOURCE_DIR") + QStringLiteral("/src");
        QVERIFY2(QFileInfo(root + "/core").isDir(), qPrintable(root));
        const QStringList problems = layerProblems(root);
        QVERIFY2(problems.isEmpty(), qPrintable(problems.join('\n')));
    }

    void wrongIncludesAndFeatureCyclesAreFound() {
        QTemporaryDir dir;
        const auto writeSource = [&dir](const QString& path, const QByteArray& text) {
            QVERIFY(writeHostFile(dir.filePath(path), text));
        };
        writeSource("platform/Machine.h", "#include \"core/QvLog.h\"\n");
        writeSource("core/QvTask.cpp", "#include \"core/QvTask.h\"\n#include \"platform/Machine.h\"\n"
                                       "#include <QProcess>\n  #  include \"ui/KitStyle.h\"\n");
        writeSource("ui/Popover.cpp", "#include \"core/ConsoleLog.h\"\n#include \"volumes/VolumeObj.h\"\n");
        writeSource("volumes/Picker.cpp", "#include \"ui/Popover.h\"\n#include \"app/AppDelegate.h\"\n");
        writeSource("diskmanager/Cell.cpp", "#include \"volumes/VolumeObj.h\"\n#include \"Cell.h\"\n");
        writeSource("app/Main.cpp", "#include \"diskmanager/Cell.h\"\n#include \"app/Main.h\"\n");
        writeSource("diskimage/MakeDmg.cpp", "#include \"filecopy/FileNode.h\"\n");
        writeSource("filecopy/FileNode.cpp", "#include \"volumes/VolumeObj.h\"\n");
        QCOMPARE(layerProblems(dir.path()), (QStringList{
                                                "core/QvTask.cpp:4 includes ui/KitStyle.h",
                                                "diskmanager/Cell.cpp:2 includes Cell.h",
                                                "platform/Machine.h:1 includes core/QvLog.h",
                                                "ui/Popover.cpp:2 includes volumes/VolumeObj.h",
                                                "volumes/Picker.cpp:2 includes app/AppDelegate.h",
                                            }));
        // Features may include one another, as long as no cycle forms.
        writeSource("volumes/VolumeObj.cpp", "#include \"diskimage/MakeDmg.h\"\n");
        const QStringList cycles = layerProblems(dir.path());
        QVERIFY2(cycles.contains("filecopy -> volumes -> diskimage -> filecopy"),
                 qPrintable(cycles.join('\n')));
    }
};

TAVRILL_TEST(TestLayers)

#include "tst_layers.moc"
