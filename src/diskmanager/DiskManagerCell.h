#pragma once

#include "volumes/VolumeObj.h"

#include "ui/PressableView.h"

#include <QHash>

class ElidedLabel;
class ImageButton;
class ImageView;
class QLabel;
class QLineEdit;

// One row of the Disk Manager's table: the volume's icon, name (or the name field while it is
// renamed), type and used/total size, the drive it is on (model, bus, capacity, "start-up
// disk"), and the tool buttons. Names too long for the row are shortened in the middle. The elements carry
// the identifiers "icon", "name", "editname", "type", "size", "save", "rename", "format" and "eject" as
// object names. The row only shows; the table's owner decides what each press does.
class DiskManagerCell : public PressableView {
    Q_OBJECT
public:
    explicit DiskManagerCell(QWidget* parent = nullptr);

    // Fills the row for a volume. `selected` marks the chosen row; `renaming` is the table's
    // rename mode (the name field shows on the selected row only). The name field is filled
    // with the volume's name when it first shows.
    void configure(const VolumeObj& volume, bool selected, bool renaming);

    // "used/total" as size texts, or "Unknow" when the total is not known.
    static QString sizeText(const VolumeObj& volume);

    bool isSelected() const { return m_selected; }
    // A click, Space or Return on the row, or a screen reader's press: pressed() is emitted.
    void press() override;
    bool isChosen() const override { return m_selected; }
    QLineEdit* nameField() const { return m_editName; }
    // Why the typed name cannot be used, shown under the name field while renaming (empty:
    // nothing to say). configure() clears it when the row leaves renaming.
    void setNameProblem(const QString& problem);
    // The same line telling the name the volume will get (`refused`: why it cannot be used).
    void setNameHint(const QString& text, bool refused);
    ElidedLabel* nameProblemLabel() const { return m_problem; }
    ElidedLabel* nameLabel() const { return m_name; }
    ElidedLabel* driveLabel() const { return m_drive; }

Q_SIGNALS:
    void pressed();                       // the row itself was clicked
    void textEdited(const QString& text); // the name field's text changed by the user
    void returnPressed();                 // Return in the name field
    // The buttons' clicks, sent only while the row shows the volume it showed at the press.
    void saveClicked();
    void renameClicked();
    void formatClicked();
    void ejectClicked();

protected:
    void mousePressEvent(QMouseEvent* event) override;
    void paintEvent(QPaintEvent* event) override;

private:
    ImageView* m_icon;
    ElidedLabel* m_name;
    QLineEdit* m_editName;
    ElidedLabel* m_problem;
    QLabel* m_type;
    QLabel* m_size;
    ElidedLabel* m_drive;
    ImageButton* m_save;
    ImageButton* m_rename;
    ImageButton* m_format;
    ImageButton* m_eject;
    bool m_selected = false;
    // The shown volume's device and UUID, and what each button's last press found shown.
    QString m_shown;
    QHash<const QObject*, QString> m_pressedOn;
};
