#pragma once

#include "filecopy/FileNode.h"
#include "filecopy/ListFileViewControllerDelagate.h"

#include <QDialog>
#include <QString>

class ListFileViewController;
class QLabel;
class TitleBarView;

// What the file list window hands back to the screen that opened it.
class DiskListWCDelegate {
public:
    virtual ~DiskListWCDelegate() = default;
    // The top-level array of the tree as the user ticked it (a node's state says what to take:
    // 1 all of it, 2 some of its children, 0 nothing) and the bytes the ticked items amount to.
    // Sent once, on the main thread, after the window has closed. The array is the receiver's
    // to keep; the window never changes it again.
    virtual void closeWindowWithSelect(const FileNodeArrayRef& select, qint64 selectSize) = 0;
};

// The file list window: a window of its own, modal to the window that opens it, holding the
// tree list in which the user ticks what to copy or to pack. The opening screen makes it,
// opens it (open() shows it modal and returns at once) and then either lists a path afresh
// with showDetailWithPath or shows an earlier selection with setArrForListWithArr. "Done"
// measures the ticked items and hands tree and size to the delegate; the window closes
// itself. Closing it any other way hands nothing back.
//
// While the selection is being measured the window's close button and Escape do nothing.
// Destroying the window, or a close from outside it (the application quitting), cancels its
// listings and its measurement; nothing reaches the delegate after that.
class DiskListWC : public QDialog, public ListFileViewControllerDelagate {
    Q_OBJECT
public:
    // Height of the title bar, and the distance of the window buttons from the left edge.
    static constexpr int kTitleBarHeight = 38;
    static constexpr int kButtonMargin = 15;

    explicit DiskListWC(QWidget* parent = nullptr);
    ~DiskListWC() override;

    ListFileViewController* listFileVC() const { return m_listFileVC; }
    TitleBarView* titleBar() const { return m_titleBar; }

    // Not owned. The receiver must outlive the window or clear the delegate first.
    void setDelegate(DiskListWCDelegate* delegate) { m_delegate = delegate; }
    DiskListWCDelegate* delegate() const { return m_delegate; }

    // Lists path (a Mac path: a volume's mount point, a folder or a file) afresh.
    void showDetailWithPath(const QString& path);
    // Shows an earlier selection without listing; "Refresh" lists searchPath afresh.
    void setArrForListWithArr(const FileNodeArrayRef& arr, const QString& searchPath);

    // True from "Done" until the measured selection has been handed back.
    bool isGetSelectSize() const { return m_isGetSelectSize; }

    // Closes the window and ends its modal run, unless the selection is being measured.
    // Answers whether the window closed.
    bool closeWindow();

    // ListFileViewControllerDelagate
    void getSelectFilesSize(bool measuring) override;
    void closeWindowWithSelect(const FileNodeArrayRef& select, qint64 selectSize) override;

public Q_SLOTS:
    // The window's close button and Escape come here.
    void reject() override;

protected:
    void closeEvent(QCloseEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;

private:
    void setPathTitle(const QString& path);

    ListFileViewController* m_listFileVC;
    TitleBarView* m_titleBar;
    QLabel* m_pathLabel = nullptr;
    DiskListWCDelegate* m_delegate = nullptr;
    bool m_isGetSelectSize = false;
};
