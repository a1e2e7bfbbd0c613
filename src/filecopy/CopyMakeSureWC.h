#pragma once

#include <QStringList>
#include <QWidget>

class FlatButton;
class QLabel;
class QListWidget;

class CopyMakeSureWCDelegate {
public:
    virtual ~CopyMakeSureWCDelegate() = default;
    virtual void beginToCopyFiles() = 0;
};

// The confirmation before a copy: where the copy goes, and, when the destination cannot store
// some of the selection, those items, which the copy leaves out. "Copy Now" closes the panel
// and tells the delegate; "Cancel" only closes it. It is shown in a window attached to the main
// window, which it closes.
class CopyMakeSureWC : public QWidget {
    Q_OBJECT
public:
    // destinationName: the volume's name; leftOut: one line per item the copy leaves out.
    CopyMakeSureWC(const QString& destinationName, const QStringList& leftOut, QWidget* parent = nullptr);

    void setDelegate(CopyMakeSureWCDelegate* delegate) { m_delegate = delegate; }

    void okButtonAction();
    void noButtonAction();

    QLabel* messageLabel() const { return m_message; }
    QLabel* leftOutLabel() const { return m_leftOutLabel; }
    QListWidget* leftOutList() const { return m_leftOut; }
    FlatButton* okButton() const { return m_ok; }
    FlatButton* noButton() const { return m_no; }
    // Closes the question without an answer; the delegate hears nothing more.
    void closeWindow();

private:
    CopyMakeSureWCDelegate* m_delegate = nullptr;
    QLabel* m_message;
    QLabel* m_leftOutLabel = nullptr;
    QListWidget* m_leftOut = nullptr;
    FlatButton* m_ok;
    FlatButton* m_no;
};
