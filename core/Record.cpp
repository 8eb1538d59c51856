#include "Record.h"
#include <QHash>
#include <QMutex>
#include "Connection.h"
#include "ErrorList.h"
#include "LockRetry.h"
#include "Module.h"
#include "ModuleTexts.h"
#include "RuntimeError.h"
#include "Schema.h"

namespace NexoFrame {

namespace {

const QString kTemporary = QStringLiteral("This element is temporary");

QVariant convert(FieldKind k, const QVariant& v)
{
    switch (k) {
    case FieldKind::Long: return v.isNull() ? 0 : v.toInt();
    case FieldKind::Bool: return v.isNull() ? false : v.toBool();
    case FieldKind::Double: return v.isNull() ? 0.0 : v.toDouble();
    case FieldKind::Date: return v.toDateTime();
    case FieldKind::Text: return v.isNull() ? QString() : v.toString();
    }
    return v;
}

QDateTime today() { return QDate::currentDate().startOfDay(); }

} // namespace

cDDXRecord::cDDXRecord(QObject* parent) : QObject(parent) { Module::objectCreated(); }
cDDXRecord::~cDDXRecord() { Module::objectDestroyed(); }

void cDDXRecord::init()
{
    m_fields = allFields();
    m_values.resize(m_fields.size());
    CoreDefault();
}

QList<FieldSpec> cDDXRecord::entityFields() const
{
    const TableDef* t = Schema::instance().table(tableNumber());
    if (!t) throw RuntimeError(QStringLiteral("Ismeretlen tábla: %1").arg(tableNumber()), 91);
    QList<FieldSpec> f;
    for (const ColumnDef& c : t->columns) {
        if (c.name == t->primaryKey) continue;
        FieldKind kind = FieldKind::Long;
        switch (c.type) {
        case ColType::Long: kind = FieldKind::Long; break;
        case ColType::Bool: kind = FieldKind::Bool; break;
        case ColType::Text:
        case ColType::Memo: kind = FieldKind::Text; break;
        case ColType::Date:
        case ColType::DateTime: kind = FieldKind::Date; break;
        case ColType::Double: kind = FieldKind::Double; break;
        }
        f << FieldSpec{c.name, kind, c.defaultValue};
    }
    return f;
}

QString cDDXRecord::keyColumn() const
{
    const TableDef* t = Schema::instance().table(tableNumber());
    return t ? t->primaryKey : QStringLiteral("id");
}

QList<FieldSpec> cDDXRecord::allFields() const
{
    // The same for every record of a class: made once, as records are made by the thousand.
    static QMutex guard;
    static QHash<QString, QList<FieldSpec>> made;
    const QMutexLocker lock(&guard);
    auto it = made.constFind(className());
    // A new record has no key until it is saved.
    if (it == made.constEnd()) it = made.insert(className(), QList<FieldSpec>{{keyColumn(), FieldKind::Long, -1}} + entityFields());
    return *it;
}

int cDDXRecord::indexOf(const QString& column) const
{
    // Through the schema's index of the table: the key stands first in the record.
    const TableDef* t = Schema::instance().table(tableNumber());
    const int at = t ? t->columnIndex(column) : -1;
    if (at < 0) return -1;
    const int key = t->columnIndex(t->primaryKey);
    return at == key ? 0 : at < key ? at + 1 : at;
}

QVariant cDDXRecord::value(const QString& column) const
{
    // A column the table lacks is a fault of the caller, never an empty value.
    const int i = indexOf(column);
    if (i < 0) throw RuntimeError(QStringLiteral("Ismeretlen mező: %1.%2").arg(className(), column), 438);
    return m_values[i];
}

void cDDXRecord::setValue(const QString& column, const QVariant& v)
{
    const int i = indexOf(column);
    if (i < 0) throw RuntimeError(QStringLiteral("Ismeretlen mező: %1.%2").arg(className(), column), 438);
    m_values[i] = convert(m_fields[i].kind, v);
}

void cDDXRecord::setValueAt(int i, const QVariant& v) { m_values[i] = convert(m_fields[i].kind, v); }

Connection* cDDXRecord::connection() const
{
    Connection* c = module().connection();
    if (!c) throw RuntimeError(ModuleTexts::kNoConnection, 91);
    return c;
}

int cDDXRecord::columnLength(const QString& column) const
{
    Connection* c = module().connection();
    const TableDef* t = c ? c->tableDef(tableNumber()) : Schema::instance().table(tableNumber());
    const ColumnDef* cd = t ? t->column(column) : nullptr;
    return cd && cd->type == ColType::Text ? cd->length : 0;
}

void cDDXRecord::reportFailure(const char* procedure, const QString& message)
{
    AddError(eError, kLifecycleErrorNumber,
             className() + QStringLiteral(" in Function ") + QString::fromLatin1(procedure)
                 + QLatin1Char(' ') + message);
}

bool cDDXRecord::CoreDefault()
{
    m_status = IsNew;
    m_isTemp = true;
    QDateTime day; // asked once: the local clock is slow to read
    for (int i = 0; i < m_fields.size(); ++i) {
        const FieldSpec& f = m_fields[i];
        if (f.kind == FieldKind::Date && f.defaultValue.isNull()) {
            if (day.isNull()) day = today();
            m_values[i] = day;
        } else {
            m_values[i] = convert(f.kind, f.defaultValue);
        }
    }
    entityDefaults();
    return true;
}

void cDDXRecord::readRow()
{
    Recordset& rs = connection()->browseRecordset(tableNumber());
    for (int i = 0; i < m_fields.size(); ++i) m_values[i] = convert(m_fields[i].kind, rs.field(m_fields[i].name));
}

bool cDDXRecord::CoreLoad(int lID)
{
    try {
        CoreDefault();
        Connection* c = connection();
        if (!c->seek(tableNumber(), QStringLiteral("PrimaryKey"), {lID})) return false;
        m_bookmark = c->browseRecordset(tableNumber()).bookmark();
        readRow();
        m_status = isLoaded;
        entityLoaded();
        return true;
    } catch (const std::exception& e) {
        reportFailure("CoreLoad", QString::fromUtf8(e.what()));
        return false;
    }
}

int cDDXRecord::OpenExcMasterTable()
{
    Connection* c = connection();
    if (!c->transactions().lockWithRetry(lockQuestion())) return 1;
    c->idle();
    if (c->tableDef(tableNumber())) return 0;
    c->transactions().unlockMaster();
    return 1;
}

int cDDXRecord::CloseExcMasterTable()
{
    Connection* c = connection();
    // Releasing the lock commits; a commit that failed kept nothing.
    if (c->transactions().unlockMaster()) return 0;
    reportFailure("CommitTrans", c->transactions().lastError());
    return 1;
}

bool cDDXRecord::CoreUpdate()
{
    Errors& errors = module().errors();
    errors.Clear();
    if (m_isTemp) {
        errors.add(eError, kLifecycleErrorNumber, kTemporary);
        return false;
    }
    // A failing step says why in Errors; then the whole write goes back.
    const auto write = [this] {
        try {
            if ((m_status == IsNew || m_status == isModified) && !Validate(eDontCheckWarning)) return false;
            return UpdateNative() && afterNativeWrite();
        } catch (const std::exception& e) {
            reportFailure("CoreUpdate", QString::fromUtf8(e.what()));
            return false;
        }
    };
    // Written inside its owner's transaction, under its owner's lock.
    if (!ownsTransaction()) return write();
    try {
        QString why;
        // The write's checks and rows are statements from its start: the lock goes with the first.
        switch (connection()->transactions().writeLocked(write, &why, lockQuestion(), true)) {
        case Transactions::LockedWrite::Done: return true;
        case Transactions::LockedWrite::Refused: return false;
        case Transactions::LockedWrite::Failed:
            // Without a reason of its own, the write's step has reported already.
            if (!why.isEmpty()) reportFailure("CommitTrans", why);
            return false;
        }
    } catch (const std::exception& e) {
        reportFailure("CoreUpdate", QString::fromUtf8(e.what()));
    }
    return false;
}

void cDDXRecord::writeRow()
{
    Recordset& rs = connection()->editRecordset(tableNumber());
    // The key is written by the key step on insert and never changes afterwards.
    for (int i = 1; i < m_fields.size(); ++i) rs.setField(m_fields[i].name, m_values[i]);
}

bool cDDXRecord::UpdateNative()
{
    try {
        Connection* c = connection();
        Recordset& rs = c->editRecordset(tableNumber());
        const int user = module().currentUserId();
        const QDateTime now = QDateTime::currentDateTime();
        QStringList stamped;
        switch (m_status) {
        case isLoaded: return true;
        case IsNew:
            stamped = addNewRow(rs, user, now);
            break;
        case isModified:
            rs.editStored(m_bookmark);
            writeRow();
            stamped = rs.stampAudit(user, now);
            break;
        case isDeleted:
            // The mark and the audit columns only: the other columns stay as stored.
            rs.editStored(m_bookmark);
            stamped = rs.markDeleted(user, now);
            break;
        }
        if (!rs.update()) {
            reportFailure("UpdateNative", rs.lastError());
            return false;
        }
        takeWritten(rs, stamped);
        return true;
    } catch (const std::exception& e) {
        reportFailure("UpdateNative", QString::fromUtf8(e.what()));
        return false;
    }
}

QStringList cDDXRecord::addNewRow(Recordset& rs, int user, const QDateTime& now)
{
    // The key is handed out by the insert itself (with the row, in one statement on a server).
    rs.addNew(Keys::ownKeyFloor(tableNumber(), module().systemEdit()));
    writeRow();
    return rs.stampAudit(user, now);
}

void cDDXRecord::takeWritten(Recordset& rs, const QStringList& stamped)
{
    for (const QString& column : stamped) setValue(column, rs.written(column));
    if (m_status == isDeleted) return;
    Recordset& browse = connection()->browseRecordset(tableNumber());
    browse.showWritten(rs);
    m_bookmark = browse.bookmark();
    if (m_status == IsNew) set_id(browse.field(keyColumn()).toInt());
}

bool cDDXRecord::CoreUpdateTogether(const QList<cDDXRecord*>& records)
{
    cDDXRecord* first = records.value(0);
    bool together = records.size() > 1;
    for (const cDDXRecord* r : records)
        together = together && r->m_status == IsNew && !r->ownsTransaction() && r->tableNumber() == first->tableNumber();
    together = together && first->connection()->tableDef(first->tableNumber())->historyColumns.isEmpty();
    if (!together) {
        for (cDDXRecord* r : records)
            if (!r->CoreUpdate()) return false;
        return true;
    }
    Errors& errors = module().errors();
    errors.Clear();
    cDDXRecord* at = first;
    Recordset& rs = first->connection()->editRecordset(first->tableNumber());
    try {
        for (cDDXRecord* r : records) {
            at = r;
            if (r->m_isTemp) {
                errors.add(eError, kLifecycleErrorNumber, kTemporary);
                return false;
            }
            if (!r->Validate(eDontCheckWarning)) return false;
        }
        const int user = module().currentUserId();
        const QDateTime now = QDateTime::currentDateTime();
        QList<QStringList> stamped;
        rs.cancelUpdate();
        for (cDDXRecord* r : records) {
            at = r;
            stamped << r->addNewRow(rs, user, now);
            rs.hold();
        }
        at = first;
        if (!rs.updateHeld()) {
            first->reportFailure("UpdateNative", rs.lastError());
            return false;
        }
        for (qsizetype i = 0; i < records.size(); ++i) {
            at = records[i];
            rs.showHeld(int(i));
            records[i]->takeWritten(rs, stamped[i]);
        }
        for (cDDXRecord* r : records) {
            at = r;
            if (!r->afterNativeWrite()) return false;
        }
        return true;
    } catch (const std::exception& e) {
        rs.cancelUpdate();
        at->reportFailure("CoreUpdate", QString::fromUtf8(e.what()));
        return false;
    }
}

bool cDDXRecord::isProtectedBase() const
{
    return !baseStructureMessage().isEmpty() && !module().systemEdit() && id() < Keys::kFirstOwnKey;
}

void cDDXRecord::baseStructureCheck()
{
    // A new record is keyed only when saved, and then above the base structure.
    if (isProtectedBase() && (m_status == isLoaded || m_status == isModified))
        AddError(eError, kFieldCheckNumber, baseStructureMessage());
}

bool cDDXRecord::Delete()
{
    if (isProtectedBase()) {
        AddError(eError, kFieldCheckNumber, baseStructureMessage());
        return false;
    }
    bool ok = false;
    try {
        QString reason = deleteRefusal();
        if (!reason.isEmpty() || connection()->deleteCheck(tableNumber(), id(), &reason)) {
            module().errors().add(eError, kLifecycleErrorNumber,
                                  reason.isEmpty() ? QStringLiteral("A tétel nem törölhető.") : reason);
        } else {
            m_status = isDeleted;
            ok = true;
        }
    } catch (const std::exception& e) {
        reportFailure("Delete", QString::fromUtf8(e.what()));
    }
    m_isTemp = false;
    return ok;
}

void cDDXRecord::SetModified()
{
    if (m_status == isLoaded) m_status = isModified;
}

bool cDDXRecord::SetFinal()
{
    if (!Validate(eCheckWarning)) return false;
    m_isTemp = false;
    return true;
}

std::unique_ptr<cDDXRecord> cDDXRecord::Clone() const
{
    try {
        std::unique_ptr<cDDXRecord> r = newInstance();
        for (int i = 0; i < m_fields.size(); ++i) r->setValue(m_fields[i].name, m_values[i]);
        r->m_cloneSource = id();
        return r;
    } catch (const std::exception& e) {
        const_cast<cDDXRecord*>(this)->reportFailure("Clone", QString::fromUtf8(e.what()));
        return nullptr;
    }
}

bool cDDXRecord::Validate(eValidateCheckType)
{
    if (m_status == isDeleted) return true;
    try {
        Errors& errors = module().errors();
        // The record's own checks decide; entries an earlier caller left behind do not.
        const int before = errors.Count();
        checks();
        baseStructureCheck();
        bool valid = true;
        for (int i = before + 1; i <= errors.Count(); ++i)
            if (errors.Item(i).ErrorType() == eError) valid = false;
        if (errors.Count() == 0 || errors.hasErrors()) return valid;
        // Only warnings: the user decides whether they stand in the way.
        return !ShowErrorList(QStringLiteral("Hiba lista"));
    } catch (const std::exception& e) {
        reportFailure("Validate", QString::fromUtf8(e.what()));
        return false;
    }
}

} // namespace NexoFrame
