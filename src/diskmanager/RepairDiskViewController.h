#pragma once

#include "core/FeatureTab.h"
#include "diskmanager/FormatEndViewController.h"
#include "diskmanager/FormatingViewController.h"
#include "diskmanager/MakeSureFormatDelegate.h"
#include "diskmanager/MakeSureFormatViewController.h"
#include "diskmanager/VolumeOperations.h"
#include "ui/MessagePanel.h"
#include "volumes/VolumeObj.h"

#include <QPointer>
#include <QString>
#include <QVariantMap>
#include <QWidget>

#include <cstdint>
#include <optional>

class AttachedWindow;
class DiskManagerCell;
class DiskManagerEngine;
class ImageButton;
class QProgressBar;
class QuestionPanel;
class QTableWidget;
class WatchMountUnmount;

// The "Disk Manager" tab: a table of the mounted volumes with, on each row, buttons to rename,
// format and eject the volume. It keeps its own volume list (DiskManagerEngine), read again on
// every mount and unmount and after each format; a mount or unmount during a listing is read
// once that listing is done. An eject that a program keeps from happening says which program
// holds the volume and offers to force it, after a second question. Rename, eject and format run the disk
// tool on a worker; a format runs behind a progress popup and ends in the end popup, which says whether the
// tool succeeded. A typed name is checked before anything runs: the name field or the confirmation says why a
// name cannot be used.
//
// A row's buttons act on that row: pressing one on another row first selects it. The tab never
// locks the tab bar and holds up no quit.
class RepairDiskViewController : public QWidget, public MakeSureFormatDelegate, public FeatureTab {
    Q_OBJECT
public:
    explicit RepairDiskViewController(QWidget* parent = nullptr);
    ~RepairDiskViewController() override;

    // The rows and the selection.
    const VolumeObjList& allVolumeArr() const;
    VolumeObjRef selectVolume() const { return m_selectVolume; }
    std::int32_t selectIndex() const { return m_selectIndex; }
    bool isRenameEdit() const { return m_isRenameEdit; }
    QString editStr() const { return m_editStr; }
    bool isScanV() const;
    bool formatend() const { return m_formatend; }
    QTableWidget* parTableView() const { return m_table; }
    QProgressBar* loadProView() const { return m_loadProView; }
    DiskManagerEngine* engine() const { return m_engine; }
    // Kept for the owner.
    void setSuperDelegate(QObject* owner) { m_superDelegate = owner; }
    QObject* superDelegate() const { return m_superDelegate; }

    // The cell shown for a row (null past the end).
    DiskManagerCell* cellAt(int row) const;
    // The popups while they are up.
    MakeSureFormatViewController* makeSureFormatViewController() const { return m_makeSure; }
    FormatingViewController* formatingViewController() const { return m_formating; }
    FormatEndViewController* formatEndViewController() const { return m_formatEnd; }
    ImageButton* helpButton() const { return m_help; }
    // The eject's questions and its failure message while they are up.
    QuestionPanel* ejectQuestion() const { return m_ejectQuestion; }
    MessagePanel* ejectMessage() const { return m_ejectMessage; }

    // The table's data source and delegate.
    int numberOfRowsInTableView() const;
    DiskManagerCell* tableViewViewForRow(int row);
    bool tableViewShouldSelectRow(int row);
    void reloadData();
    // The name field's text changed.
    void controlTextDidChange(const QString& text);

    void renameButtonAction();
    void saveButtonAction();
    void formatButtonAction();
    void ejectButtonAction();
    void helpButtonAction();

    void getallVolumes();
    // The listing's and the operations' steps, carried out by DiskManagerEngine and
    // VolumeOperations (blocking; the listing calls them on its worker).
    static void getVolumeAllObjWithVolumeName(const QString& bsdName, VolumeObjList& list);
    static std::optional<QVariantMap> getDisjInfo(const char* name);
    static std::optional<QVariantMap> getAllDiskAndVolumes();
    static QString byteToSizeWithByte(std::int64_t bytes);
    static bool containsChinese(const QString& text);

    // The format confirmation's answers.
    void makeSureToFormatSelectVolumeWithName(const QString& name, const QString& type) override;
    QString formatNameProblem(const QString& name, const QString& type) override;
    QString formatNameHint(const QString& name, const QString& type, bool* refused) override;
    void cancelFormatVoluem() override;
    void showFormatingView();
    void showFormatEndWindow();

Q_SIGNALS:
    // A listing has been taken into the table.
    void volumesReloaded();

private:
    void listingStarted();
    void listingFinished();
    void formatFinished(const VolumeOperations::Outcome& outcome);
    void renameFinished(const VolumeObjRef& volume, const QString& editedText,
                        const VolumeOperations::Outcome& outcome);
    void ejectFinished(const VolumeObjRef& volume, const VolumeOperations::Outcome& outcome);
    // The eject was refused because a program holds the volume: say which, offer to force it.
    void showVolumeInUse(const VolumeObjRef& volume, const VolumeOperations::Outcome& outcome);
    void askForceEject(const VolumeObjRef& volume, const QString& program, int pid);
    void showEjectFailed(const VolumeObjRef& volume, const QString& message);
    void closeEjectPanels();
    void closeEjectPanelsOfGoneVolume();
    // A row's button click: while the row is in the table and no listing runs, selects that row
    // (if it is another) and runs the action.
    void actOnRow(DiskManagerCell* cell, void (RepairDiskViewController::*action)());
    AttachedWindow* attach(QWidget* content);

    DiskManagerEngine* m_engine;
    VolumeObjRef m_selectVolume;
    std::int32_t m_selectIndex = 0;
    bool m_isRenameEdit = false;
    QString m_editStr;
    bool m_formatend = true;
    // The volume the open confirmation names. A listing while it is open replaces the selection,
    // but "Continue" formats the volume the user was asked about.
    VolumeObjRef m_formatTarget;
    // Formats whose commands have not returned yet (main thread only).
    int m_formatsRunning = 0;
    // How the last format ended, for the end popup.
    VolumeOperations::Outcome m_lastFormat;
    QTableWidget* m_table;
    QProgressBar* m_loadProView;
    ImageButton* m_help;
    WatchMountUnmount* m_watchMu;
    QPointer<QObject> m_superDelegate;
    QPointer<MakeSureFormatViewController> m_makeSure;
    QPointer<FormatingViewController> m_formating;
    QPointer<FormatEndViewController> m_formatEnd;
    QPointer<QuestionPanel> m_ejectQuestion;
    QPointer<MessagePanel> m_ejectMessage;
    // The volume the open eject question or refusal is about.
    VolumeObjRef m_ejectTarget;
    // A mount or unmount came while a listing ran: list again when it is done.
    bool m_relistPending = false;
};
