#include "FileListTestKit.h"

#include "Wait.h"
#include "filecopy/FileNodeTreeModel.h"
#include "filecopy/ListFileViewController.h"
#include "filecopy/NewOutlineView.h"
#include "ui/FlatButton.h"

#include <QTest>

namespace FileListTestKit {

namespace {

bool expandIndex(ListFileViewController* list, const QModelIndex& index, int ms) {
    list->outlineView()->expand(index);
    return waitUntil([&] { return list->controller().pendingNodeListings() == 0; }, ms);
}

} // namespace

bool waitForListing(DiskListWC* window, int ms) {
    ListFileViewController* list = window->listFileVC();
    return waitUntil([&] { return !list->isScan() && list->doneButton()->isEnabled(); }, ms);
}

QModelIndex revealRow(DiskListWC* window, const QString& macPath, int ms) {
    ListFileViewController* list = window->listFileVC();
    FileNodeTreeModel* model = list->model();
    QModelIndex parent;
    for (;;) {
        QModelIndex next;
        const int rows = model->rowCount(parent);
        for (int row = 0; row < rows && !next.isValid(); ++row) {
            const QModelIndex index = model->index(row, FileNodeTreeModel::CheckBox, parent);
            const QString path = model->nodeAt(index)->path();
            if (path == macPath)
                return index;
            if (macPath.startsWith(path.endsWith(QLatin1Char('/')) ? path : path + QLatin1Char('/')))
                next = index; // a folder above it
        }
        if (!next.isValid())
            return QModelIndex();
        if (!list->outlineView()->isExpanded(next) && !expandIndex(list, next, ms))
            return QModelIndex();
        parent = next;
    }
}

bool expandRow(DiskListWC* window, const QString& macPath, int ms) {
    const QModelIndex index = revealRow(window, macPath, ms);
    return index.isValid() && expandIndex(window->listFileVC(), index, ms);
}

bool clickCheckBox(DiskListWC* window, const QString& macPath) {
    const QModelIndex index = revealRow(window, macPath);
    if (!index.isValid())
        return false;
    NewOutlineView* outline = window->listFileVC()->outlineView();
    outline->scrollTo(index);
    QTest::mouseClick(outline->viewport(), Qt::LeftButton, {}, outline->visualRect(index).center());
    QCoreApplication::processEvents(); // the redraw the rules ask for
    return true;
}

int stateOf(DiskListWC* window, const QString& macPath) {
    const QModelIndex index = revealRow(window, macPath);
    return index.isValid() ? int(window->listFileVC()->model()->nodeAt(index)->state()) : -1;
}

bool clickDone(DiskListWC* window) {
    FlatButton* done = window->listFileVC()->doneButton();
    if (!done->isEnabled())
        return false;
    QTest::mouseClick(done, Qt::LeftButton);
    return true;
}

bool clickDoneAndWait(DiskListWC* window, const HandBack& back, int ms) {
    const int before = back.calls;
    return clickDone(window) && waitUntil([&] { return back.calls > before; }, ms);
}

} // namespace FileListTestKit
