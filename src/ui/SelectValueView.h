#pragma once

#include "ui/DragViewDelegate.h"

#include <QList>
#include <QString>
#include <QStringList>
#include <QWidget>

class DragView;
class ElidedLabel;
class ImageButton;
class QLabel;
class SelectValueViewDelegate;

// A source or destination slot of the copy and image tabs: a card with a picture of what it
// holds, a name, a size text, detail lines (which drive it is) and a hint, a close mark, and a
// drop target for files. The name and the detail lines are shortened in the middle with "…"
// when they do not fit, and shown whole in their tool tips. The slot
// only shows the texts and pictures it is given and reports clicks and drops to its delegate;
// it reacts only while `isCanSelect` is true.
class SelectValueView : public QWidget, private DragViewDelegate {
    Q_OBJECT
public:
    explicit SelectValueView(int diskFrom = 1, QWidget* parent = nullptr);

    void setDelegate(SelectValueViewDelegate* delegate) { m_delegate = delegate; }
    SelectValueViewDelegate* delegate() const { return m_delegate; }

    int diskFrom() const { return m_diskFrom; }
    void setDiskFrom(int slot) { m_diskFrom = slot; }
    bool isCanSelect() const { return m_canSelect; }
    void setIsCanSelect(bool canSelect);
    bool isHaveD() const { return m_haveD; }
    void setIsHaveD(bool haveD);
    // Whether drops of files are taken at all (a destination slot takes none).
    void setAcceptsFileDrops(bool accepts);
    bool acceptsFileDrops() const { return m_acceptsDrops; }

    QLabel* nameLabel() const;
    QList<ElidedLabel*> detailLabels() const { return m_detailLabels; }
    QLabel* sizeLabel() const { return m_sizeLabel; }
    QLabel* nodeSelectLabel() const { return m_nodeSelectLabel; }
    ImageButton* selectDiskBut() const { return m_selectDiskBut; }
    ImageButton* closeDisk() const { return m_closeDisk; }
    DragView* dragVie() const { return m_dragVie; }

    // The picture of the slot's content ("add" for an empty slot).
    void setImage(const QString& name);
    QString imageName() const;
    void setName(const QString& text);
    void setSizeText(const QString& text);
    void setHint(const QString& text);
    // Small lines under the size text, one label each; none for an empty list.
    void setDetailLines(const QStringList& lines);
    void setCloseShown(bool shown);
    // What a screen reader calls the slot's button ("Choose the source drive").
    void setChooseName(const QString& name);
    // The warning look of a destination that cannot take the copy.
    void setErrorBackground(bool error);
    bool hasErrorBackground() const { return m_error; }
    // Empties the slot: no texts but the hint, the "add" picture, no close mark, normal look.
    void showEmpty(const QString& hint);

    QSize sizeHint() const override;

protected:
    void paintEvent(QPaintEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;
    void enterEvent(QEnterEvent* event) override;
    void leaveEvent(QEvent* event) override;

private:
    void viewDragAction(const QStringList& paths) override;
    void selectFileButtonAction(QObject* sender) override;
    void closeClicked();
    void layoutChildren();
    void updateDropTarget();

    SelectValueViewDelegate* m_delegate = nullptr;
    DragView* m_dragVie;
    ImageButton* m_selectDiskBut;
    ImageButton* m_closeDisk;
    ElidedLabel* m_nameLabel;
    QLabel* m_sizeLabel;
    QList<ElidedLabel*> m_detailLabels;
    QLabel* m_nodeSelectLabel;
    int m_diskFrom;
    bool m_canSelect = true;
    bool m_haveD = false;
    bool m_acceptsDrops = true;
    bool m_error = false;
    bool m_hovered = false;
};
