#pragma once
#include "ControlTexts.h"
#include "Texts.h"
#include "TreePanel.h"

namespace NexoFrame {

// The tree of OLAP folders and reports: edits them (mode 0) or sets which roles may use
// each (any other mode). Ctrl+C on a report and Ctrl+V on a folder copy a report with its
// fields. A user who holds none of the definition rights gets it as a viewer: only the
// reports that reach him and the folders above them, with the preview alone.
class OLAPReports : public TreePanel {
    Q_OBJECT
public:
    enum Kind { FolderNode = 0, ReportNode = 1 };

    explicit OLAPReports(QWidget* parent = nullptr);

    void CopyReport();
    void PasteReport();
    // Shows the selected report as its users will see it.
    void PreviewReport();
    int copySource() const { return m_copySource; }
    // Whether the panel was opened as a viewer.
    bool viewer() const { return m_viewer; }
    // Whether the current user may run a report's preview now: a holder of a definition
    // right any report, anyone else only the reports that reach him.
    bool mayPreview(int id);

    QHash<int, QString> usersReaching(int id) override;
    QString impactText(int id) override;

protected:
    int tableNumber() const override;
    QString rootText() const override { return QStringLiteral("OLAP Riportok"); }
    QString titleText(bool roleMode) const override
    {
        return roleMode ? QStringLiteral("OLAP Riportok jogosultságainak beállítása") : QStringLiteral("OLAP Riportok");
    }
    QList<TreeCommand> commands() const override
    {
        return {{100014, QStringLiteral("Új könyvtár"), TreeAction::New, FolderNode},
                {100015, QStringLiteral("Új riport"), TreeAction::New, ReportNode},
                {100016, ControlTexts::kModify, TreeAction::Modify},
                {100017, Texts::kDelete, TreeAction::Delete}};
    }
    QString childIndex() const override { return QStringLiteral("real_parent_id_2"); }
    QString nodeText(const Recordset& row) const override;
    QString nodeText(const cDDXRecord& record) const override;
    std::unique_ptr<cDDXRecord> makeRecord() const override;
    std::unique_ptr<cDDXRecord> makeNewRecord(int variant) const override;
    int nodeKind(const Recordset& row) const override;
    int nodeKind(const cDDXRecord& record) const override;
    void styleNode(QTreeWidgetItem* node, int kind) override;
    void nodeExpanded(QTreeWidgetItem* node, bool expanded) override;
    bool canCreateUnder(int parentId) override;
    bool canModify(int id) override;
    bool canDelete(int id) override;
    void setupCommandBar() override;
    void GetAuthorisation() override;
    void InitializePanel() override;
    bool hasContextMenu() const override { return !m_viewer; }
    bool tickCoversSubtree() const override { return false; }
    bool showsRow(int id) const override { return !m_viewer || m_shown.contains(id); }
    void treeReloading() override;
    void InitializeSite() override;

private:
    int typeOf(int id) const; // report_type of a row, -1 when there is none
    bool baseRefused(int id);
    bool holdsDefinitionRight();
    int m_copySource = -1;
    bool m_viewer = false;
    QSet<int> m_shown; // a viewer's rows
};

} // namespace NexoFrame
