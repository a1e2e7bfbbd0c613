#pragma once

#include "filecopy/Controller.h"
#include "filecopy/FileNode.h"
#include "filecopy/GetFilesSize.h"

#include <QString>
#include <QWidget>

#include <memory>

class FileNodeTreeModel;
class FlatButton;
class ImageButton;
class ListFileViewControllerDelagate;
class NewOutlineView;
class QTimer;
class StripedProgressBar;

// The tree list in which the user ticks files and folders: it lists a path (the top level in
// the background, a folder's children when it is first expanded), applies the tick rules of
// the Controller, and on "Done" measures the ticked items and hands tree and size to its
// delegate (the window that holds it).
//
// While the top level is being listed the list refreshes once a second, ignores clicks on the
// checkboxes and keeps "Refresh" and "Done" disabled: a selection is only measured and handed
// back once the whole top level is there. Destroyed or stopped, it stops its listings and its
// measurement; nothing reaches the delegate afterwards.
class ListFileViewController : public QWidget, public ControllerDelegate, public GetFilesSizeDelegate {
    Q_OBJECT
public:
    explicit ListFileViewController(QWidget* parent = nullptr);
    ~ListFileViewController() override;

    // Not owned; the window that holds the list.
    void setDetagate(ListFileViewControllerDelagate* delegate) { m_detagate = delegate; }

    // Lists path afresh into a new top-level array (ticks of an earlier listing are dropped).
    void getRootNodeListWithPath(const QString& path);
    // Shows an existing tree without listing.
    void setArrForListWithArr(const FileNodeArrayRef& arr, const QString& searchPath);
    void refreshButtonAction();
    void doneButtonAction();
    // The header checkbox: ticks or unticks every top-level item (ignored while listing).
    void setAllSelectOrNoSelect();
    // A click on a node's checkbox (ignored while listing, and for system items).
    void outlineViewSetObjectValue(FileNode* item);
    void outlineViewItemDidExpand(FileNode* item);
    void outlineViewItemDidCollapse(FileNode* item);
    // Stops the listings and the measurement under way; the list stays as it is.
    void stopAll();

    // ControllerDelegate. Both are cheap: the work is done once, on the next turn of the
    // event loop, however many rule steps ask for it.
    void reloadTreeList() override;
    void changeSelectAllButtonState() override;
    void childrenWillBeAdded(FileNode* node, qsizetype count) override;
    void childrenAdded(FileNode* node) override;
    // GetFilesSizeDelegate
    void allCopyFilesSize(qint64 size) override;

    bool isScan() const { return m_isScan; }
    bool isMeasuring() const { return m_sizer != nullptr; }
    int selectAllButSt() const { return m_selectAllButSt; }
    QString searchPath() const { return m_searchPath; }
    FileNodeArrayRef rootNodeArr() const { return m_rootNodeArr; }
    Controller& controller() { return m_controller; }
    NewOutlineView* outlineView() const { return m_outline; }
    FileNodeTreeModel* model() const { return m_model; }
    FlatButton* doneButton() const { return m_doneButton; }
    FlatButton* refreshButton() const { return m_refreshButton; }
    ImageButton* selectAllButton() const { return m_selectAllButton; }
    QWidget* waitingView() const { return m_waitingView; }
    QTimer* sortTimer() const { return m_sortTimer; }

Q_SIGNALS:
    // The top-level listing has ended (the list is ready).
    void listingEnded();

protected:
    void resizeEvent(QResizeEvent* event) override;

private:
    void showDetailPage();
    // The timer's and the coalesced reload: picks up the grown top level, redraws, and ends
    // the listing state once the listing is over.
    void reloadNow();
    void scheduleReload();
    void setSelectAllState(int state);
    void recomputeSelectAllState();
    void changeNodeState(FileNode* node);
    void cellClicked(const QModelIndex& index);
    void placeSelectAllButton();
    void layoutColumns();

    Controller m_controller;
    FileNodeArrayRef m_rootNodeArr;
    QString m_searchPath;
    ListFileViewControllerDelagate* m_detagate = nullptr;
    std::shared_ptr<GetFilesSize> m_sizer;
    bool m_isScan = false;
    bool m_reloadQueued = false;
    bool m_selectAllDirty = false;
    int m_selectAllButSt = 1;
    QTimer* m_sortTimer;
    NewOutlineView* m_outline;
    FileNodeTreeModel* m_model;
    ImageButton* m_selectAllButton;
    FlatButton* m_refreshButton;
    FlatButton* m_doneButton;
    QWidget* m_waitingView;
    StripedProgressBar* m_waitingBar;
};
