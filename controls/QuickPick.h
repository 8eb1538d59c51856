#pragma once
#include "Connection.h"
#include <QPointer>
#include <QWidget>

class QLineEdit;
class QListWidget;
class QListWidgetItem;

namespace NexoFrame::Controls {

// A line edit that offers, as the user types, the rows of a lookup table whose value starts
// with the text (a postal code and its city, say).
class QuickPick : public QWidget {
    Q_OBJECT
public:
    explicit QuickPick(QWidget* parent = nullptr);

    void setConnection(Connection* c);
    // The value column should be a text column. Throws DbError without a connection, or when
    // the table or a column is not the schema's.
    void setLookup(int table, const QString& valueColumn, const QString& textColumn);

    QString text() const;
    void setText(const QString& text);
    QLineEdit* lineEdit() const { return m_edit; }
    QListWidget* popupList() const { return m_list; }

signals:
    void picked(const QString& value);

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    void offer(const QString& typed);
    void pick(QListWidgetItem* item);
    void editingDone();

    QPointer<Connection> m_connection;
    const TableDef* m_table = nullptr;
    QString m_valueColumn, m_textColumn;
    QString m_settled; // the value last picked or set, not reported again when the box is left
    QLineEdit* m_edit;
    QListWidget* m_list;
};

} // namespace NexoFrame::Controls
