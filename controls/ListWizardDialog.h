#pragma once
#include "ListDefinition.h"
#include <QWizard>
#include <functional>

class QButtonGroup;
class QCheckBox;
class QComboBox;
class QLineEdit;
class QListWidget;
class QRadioButton;
class QTableWidget;

namespace NexoFrame::Controls {

// Builds a list step by step: the source, the columns with their headings, the conditions
// (asked ones only for a user who may set parameters), the order, the grouping, the name.
class ListWizardDialog : public QWizard {
    Q_OBJECT
public:
    enum Page { SourcePage, ColumnsPage, ConditionsPage, SortPage, GroupPage, NamePage };

    ListWizardDialog(const QList<ListSource>& sources, bool mayAsk, QWidget* parent = nullptr);

    void setList(const QString& caption, const ListDefinition& def);
    QString caption() const;
    ListDefinition definition() const;
    // Asked before the conditions page is left: false with a message for values that do
    // not read as their columns' types.
    void setCheck(std::function<bool(const ListDefinition&, QString*)> check) { m_check = std::move(check); }

    // The widgets of the pages, by their names, for the keyboard and for tests.
    QListWidget* lst_source;
    QListWidget* lst_available;
    QListWidget* lst_chosen;
    QTableWidget* tbl_conditions;
    QRadioButton* opt_all;
    QRadioButton* opt_any;
    QComboBox* cbo_sort[3];
    QCheckBox* chk_descending[3];
    QComboBox* cbo_group;
    QListWidget* lst_sums;
    QLineEdit* txt_caption;

    // A condition row: column, operator, values, question.
    void addCondition(const ListCondition& c = {});

private:
    const ListSource* source() const;
    void sourceChosen();
    void fillOperators(int row);
    void choose(bool add);
    void move(int by);
    void refreshLaterPages();
    bool validateCurrentPage() override;

    QList<ListSource> m_sources;
    bool m_mayAsk;
    QString m_shownSource; // the source the later pages were filled for
    std::function<bool(const ListDefinition&, QString*)> m_check;
};

} // namespace NexoFrame::Controls
