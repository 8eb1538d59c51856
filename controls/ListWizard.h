#pragma once
#include "Connection.h"
#include "ListDefinition.h"
#include "ReportOutput.h"
#include <functional>
#include <QPointer>
#include <QVariantMap>
#include <QWidget>
#include <memory>

class QAction;
class QLabel;
class QListWidget;
class QTableView;
class QToolBar;
class QTreeWidget;

namespace NexoFrame {
class ReadOnlySource;
}

namespace NexoFrame::Controls {

class ListModel;

// The list wizard: the lists a user may use (his own and those his roles reach), built and
// changed step by step in a wizard, run into a grid that reads page by page, printed on the
// report engine's pages, exported to CSV, XLSX and PDF. The host sets the permissions, the
// database and the settings by name, then calls Init. Every command is checked against the
// permissions twice: a command the user may not use is not shown, and a call that comes
// round the interface is refused with a message in LastError.
class ListWizard : public QWidget {
    Q_OBJECT
    Q_PROPERTY(bool CanEdit MEMBER m_canEdit)
    Q_PROPERTY(bool CanEditAll MEMBER m_canEditAll)
    Q_PROPERTY(bool CanPrint MEMBER m_canPrint)
    Q_PROPERTY(bool CanExport MEMBER m_canExport)
    Q_PROPERTY(bool CanSetParameters MEMBER m_canSetParameters)
    Q_PROPERTY(QObject* Database READ database WRITE setDatabase)
    // Where exports, print files and temporary files go.
    Q_PROPERTY(QString WorkFolder MEMBER m_workFolder)
    Q_PROPERTY(int UserID MEMBER m_userId)
    // The company printed on the pages' top, by the report contract's names ("RegUserNev", ...).
    Q_PROPERTY(QVariantMap CompanyHeader MEMBER m_company)
    Q_PROPERTY(QString LastError READ lastError)

public:
    explicit ListWizard(QWidget* parent = nullptr);
    ~ListWizard() override;

    QObject* database() const;
    void setDatabase(QObject* db);
    QString lastError() const { return m_lastError; }
    // Asked when another user keeps the database locked past the quiet tries (true: try
    // again); the host gives its own. Until then the wizard asks the same question in a
    // message box of its own; an empty one gives up without asking.
    void setLockQuestion(Transactions::AskAgain askAgain) { m_askAgain = std::move(askAgain); }

    // Reads the sources and the lists and sets the commands; false with LastError.
    Q_INVOKABLE bool Init();

    struct Entry {
        int id = 0;
        QString caption;
        int owner = -1;
        QString ownerName;
        ListDefinition definition;
    };
    const QList<Entry>& lists() const { return m_lists; }
    const QList<ListSource>& sources() const { return m_sources; }
    const Entry* entry(int id) const;
    int currentListId() const;
    bool selectList(int id);
    bool mayEdit(int id) const; // this user may change or delete that list

    // Saves a list (id 0: a new one, owned by this user); the new or kept id, -1 on refusal
    // or failure. Written in one transaction under the master lock.
    Q_INVOKABLE int saveList(int id, const QString& caption, const QByteArray& definition);
    Q_INVOKABLE bool deleteList(int id);
    // Runs a list into the grid. `answers` give the asked conditions' values in order; with
    // none, they are asked in a dialog (their defaults when `ask` is false).
    Q_INVOKABLE bool runList(int id, const QStringList& answers = {}, bool ask = true);
    // What the grid shows, all of it: format "csv", "xlsx" or "pdf".
    Q_INVOKABLE bool exportList(const QString& format, const QString& path);
    // The preview (or straight to the printer).
    Q_INVOKABLE bool printList(bool preview = true);

    // The wizard for a new list, or for changing one; the saved id, or 0 when cancelled.
    int newList();
    int editList(int id);

    // The run in the grid.
    QTableView* grid() const { return m_grid; }
    int loadedRows() const;
    const ListQuery& query() const { return m_query; }
    QTreeWidget* groupTable() const { return m_groups; }

    QToolBar* commandBar() const { return m_bar; }
    QAction* command(const QString& name) const; // "cmd_new", "cmd_export", ...

signals:
    void listsChanged();

private:
    bool refuse(const QString& message);
    bool may(bool permission, const QString& what);
    void fillLists(int select = 0);
    void updateCommands();
    bool answerQuestions(ListDefinition* def, const QStringList& answers, bool ask);
    bool feedAll(const std::function<bool(const QVariantList&)>& sink, QString* error);
    bool writeList(QString* why, const std::function<void(Recordset&)>& fill);
    static void openRow(Recordset& rs, int id); // the stored list `id`, opened for a change
    bool paper(ReportDocument* doc, QString* why);
    QString exportPath(const QString& suffix) const;
    void exportInteractive(const QString& format);
    bool manyPages(); // false when the user would rather not print a very long list
    int runWizard(int id);

    QPointer<Connection> m_connection;
    bool m_canEdit = false, m_canEditAll = false, m_canPrint = false, m_canExport = false, m_canSetParameters = false;
    QString m_workFolder;
    int m_userId = -1;
    QVariantMap m_company;
    QString m_lastError;
    Transactions::AskAgain m_askAgain;

    QList<ListSource> m_sources;
    QList<Entry> m_lists;
    int m_runId = 0;
    ListDefinition m_runDefinition;
    ListQuery m_query;
    std::unique_ptr<ReadOnlySource> m_source;

    QToolBar* m_bar;
    QListWidget* m_list;
    QTableView* m_grid;
    QTreeWidget* m_groups;
    QLabel* m_status;
    ListModel* m_model;
};

} // namespace NexoFrame::Controls
