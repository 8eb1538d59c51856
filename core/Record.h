#pragma once
#include "Enums.h"
#include "RecordColumns.h"
#include <QByteArray>
#include <QDateTime>
#include <QList>
#include <QObject>
#include <QString>
#include <QVariant>
#include <memory>

namespace NexoFrame {

class Connection;
class Recordset;

// Kinds of record properties, as they travel between the record and its row.
enum class FieldKind { Long, Bool, Text, Date, Double };

struct FieldSpec {
    QString name;
    FieldKind kind;
    QVariant defaultValue;
};

// The lifecycle every record class shares: defaults, load by key, validation, the
// exclusive lock with its retry question, a transaction around the write, insert /
// update / soft delete with the audit columns, and cloning. An entity declares only its
// table (its columns, their properties and defaults come from the schema: NEXO_COLUMNS_<table>
// after Q_OBJECT) and its checks.
class cDDXRecord : public QObject {
    Q_OBJECT
    Q_PROPERTY(int ItemStatus READ ItemStatus WRITE setItemStatus)
    Q_PROPERTY(bool IsTemp READ IsTemp)
    Q_PROPERTY(int id READ id WRITE set_id)
    Q_PROPERTY(int del_status READ del_status WRITE set_del_status)
    Q_PROPERTY(int temp_status READ temp_status WRITE set_temp_status)
    Q_PROPERTY(int create_user READ create_user WRITE set_create_user)
    Q_PROPERTY(QDateTime create_date READ create_date WRITE set_create_date)
    Q_PROPERTY(int last_action_user_id1 READ last_action_user_id1 WRITE set_last_action_user_id1)
    Q_PROPERTY(QDateTime last_action_date1 READ last_action_date1 WRITE set_last_action_date1)
    Q_PROPERTY(int last_action_user_id2 READ last_action_user_id2 WRITE set_last_action_user_id2)
    Q_PROPERTY(QDateTime last_action_date2 READ last_action_date2 WRITE set_last_action_date2)
    Q_PROPERTY(int CloneSourceID READ CloneSourceID WRITE setCloneSourceID)

public:
    ~cDDXRecord() override;

    // What the entity declares.
    virtual QString className() const = 0;
    virtual int tableNumber() const = 0;
    // The columns besides the key, in table order, as the schema declares them.
    virtual QList<FieldSpec> entityFields() const;
    QString keyColumn() const;

    // The lifecycle.
    bool CoreDefault();
    bool CoreLoad(int lID);
    bool CoreUpdate();
    // New records of one table saved together inside their owner's save: each checked as
    // CoreUpdate checks it, their rows written by one statement (one round trip to a server)
    // and keyed in their order. Records of other kinds are saved one after the other.
    static bool CoreUpdateTogether(const QList<cDDXRecord*>& records);
    int OpenExcMasterTable();
    int CloseExcMasterTable();
    virtual bool Delete();
    void SetModified();
    bool SetFinal();
    std::unique_ptr<cDDXRecord> Clone() const;
    bool Validate(eValidateCheckType eValidateType = eCheckWarning);
    virtual eReturnValue ShowForm() = 0;
    // Why the entity's own rules keep this row from being deleted, in the words the user
    // reads; empty when they allow it. `Delete` asks it before the rows that refer to it, so
    // every way of deleting obeys it; a panel may ask first to disable or refuse its command.
    virtual QString deleteRefusal() const { return {}; }

    eItemStatus ItemStatus() const { return m_status; }
    void setItemStatus(int s) { m_status = eItemStatus(s); }
    bool IsTemp() const { return m_isTemp; }
    int CloneSourceID() const { return m_cloneSource; }
    void setCloneSourceID(int v) { m_cloneSource = v; }

    // Columns by name.
    QVariant value(const QString& column) const;
    void setValue(const QString& column, const QVariant& v);
    QList<FieldSpec> allFields() const;

    // The key, whatever the table calls its key column.
    int id() const { return m_values.isEmpty() ? -1 : m_values.first().toInt(); }
    void set_id(int v) { m_values[0] = v; }
    int del_status() const { return value(QStringLiteral("del_status")).toInt(); }
    void set_del_status(int v) { setValue(QStringLiteral("del_status"), v); }
    int temp_status() const { return value(QStringLiteral("temp_status")).toInt(); }
    void set_temp_status(int v) { setValue(QStringLiteral("temp_status"), v); }
    int create_user() const { return value(QStringLiteral("create_user")).toInt(); }
    void set_create_user(int v) { setValue(QStringLiteral("create_user"), v); }
    QDateTime create_date() const { return value(QStringLiteral("create_date")).toDateTime(); }
    void set_create_date(const QDateTime& v) { setValue(QStringLiteral("create_date"), v); }
    int last_action_user_id1() const { return value(QStringLiteral("last_action_user_id1")).toInt(); }
    void set_last_action_user_id1(int v) { setValue(QStringLiteral("last_action_user_id1"), v); }
    QDateTime last_action_date1() const { return value(QStringLiteral("last_action_date1")).toDateTime(); }
    void set_last_action_date1(const QDateTime& v) { setValue(QStringLiteral("last_action_date1"), v); }
    int last_action_user_id2() const { return value(QStringLiteral("last_action_user_id2")).toInt(); }
    void set_last_action_user_id2(int v) { setValue(QStringLiteral("last_action_user_id2"), v); }
    QDateTime last_action_date2() const { return value(QStringLiteral("last_action_date2")).toDateTime(); }
    void set_last_action_date2(const QDateTime& v) { setValue(QStringLiteral("last_action_date2"), v); }

    // The length of a text column, for cutting input (0 = unlimited).
    int columnLength(const QString& column) const;

protected:
    explicit cDDXRecord(QObject* parent = nullptr);
    // Call from the entity's constructor: its fields are only known there.
    void init();

    // Entity checks; each failure adds one Error. Deleted records are not checked.
    virtual void checks() {}
    void baseStructureCheck();
    virtual std::unique_ptr<cDDXRecord> newInstance() const = 0;
    // Defaults an entity sets beyond its columns' own, at the end of CoreDefault.
    virtual void entityDefaults() {}
    // Tables split into a base structure delivered with the system (keys below
    // Keys::kFirstOwnKey) and what an installation adds (keyed by newOwnKey). A table
    // that protects its base structure names the refusal; its base rows are then read-only
    // and undeletable unless the system-edit flag is set.
    virtual QString baseStructureMessage() const { return {}; }
    bool isProtectedBase() const;
    // Whether the save locks and opens a transaction of its own; a row written only inside
    // its owner's save does not.
    virtual bool ownsTransaction() const { return true; }
    // Hooks for entities with more to do around the load and the write.
    virtual void entityLoaded() {}
    virtual bool afterNativeWrite() { return true; }

    Connection* connection() const;
    void reportFailure(const char* procedure, const QString& message);

    // A column by its place in the record (the key first, then the table's columns in order):
    // what the accessors that NEXO_COLUMNS_<table> writes from the schema use.
    const QVariant& valueAt(int i) const { return m_values[i]; }
    void setValueAt(int i, const QVariant& v);

private:
    bool UpdateNative();
    // A new row of this record in `rs`, stamped; the audit columns stamped.
    QStringList addNewRow(Recordset& rs, int user, const QDateTime& now);
    // What the row just stored in `rs` gives back: the stamps as stored, the browse
    // recordset's current row, the bookmark, a new record's key.
    void takeWritten(Recordset& rs, const QStringList& stamped);
    void readRow();
    void writeRow();
    int indexOf(const QString& column) const;

    QList<FieldSpec> m_fields;
    QList<QVariant> m_values;
    eItemStatus m_status = IsNew;
    bool m_isTemp = true;
    int m_cloneSource = -1;
    QByteArray m_bookmark;
};

} // namespace NexoFrame
