#pragma once
#include "Schema.h"
#include <QByteArray>
#include <QDateTime>
#include <QHash>
#include <QVariant>
#include <QVector>
#include <functional>

class QSqlQuery;
#include <memory>

namespace NexoFrame {

class Connection;

// A table recordset: a current index chosen by name, seeks on it, movement in its order,
// bookmarks and row editing. Rows are fetched in small windows on demand, so a seek on a
// large table reads only the rows it needs.
class Recordset {
public:
    enum class SeekOp { Equal, GreaterOrEqual, Greater };

    // columns: read only these (and the key and index columns); empty reads every column.
    Recordset(Connection* connection, const TableDef* table, const QStringList& columns = {});
    ~Recordset();

    const TableDef& table() const { return *m_table; }

    QString index() const { return m_index; }
    // "" selects the primary key order. An unknown name throws DbError.
    void setIndex(const QString& name);

    // Seeks the first row whose index key compares to `keys` (a prefix of the index
    // columns is enough). Returns found; noMatch() says the opposite.
    bool seek(SeekOp op, const QVariantList& keys);
    bool seek(const QVariantList& keys) { return seek(SeekOp::Equal, keys); }
    bool noMatch() const { return m_noMatch; }
    // Rows a seek reads ahead; later equal seeks on a single integer key that fall among
    // them are answered without a query (for walks over many keys in ascending order).
    void setReadAhead(int rows) { m_readAhead = std::max(1, rows); }

    void moveFirst();
    void moveLast();
    void moveNext();
    void movePrevious();
    bool eof() const { return m_pos < 0 || m_pos >= m_buf.size(); }
    int recordCount() const;

    QByteArray bookmark() const;
    void setBookmark(const QByteArray& b); // throws DbError when the row is gone

    // A new row. Its key, left empty, is handed out by the insert itself, none below
    // `keyFloor` (Keys::ownKeyFloor).
    void addNew(int keyFloor = 0);
    void edit();
    // The stored row `b` ready to change, as setBookmark(b) and edit() make it. Where the
    // engine's UPDATE hands back the row as it was, nothing is read now: the update reads
    // what the audit stamps and the history need, one round trip fewer under the lock.
    // Until then field() knows only what was set.
    void editStored(const QByteArray& b);
    bool update();          // stores the pending addNew/edit; false with lastError()
    // New rows stored together, by one statement (one round trip to a server): each made as
    // for update() (addNew, setField, stampAudit) and then held instead; updateHeld() stores
    // them all, keyed from one block in the order held (false with lastError(), and none
    // stored); cancelUpdate() drops the rows held. Only for a table whose changes the
    // rights history does not keep.
    void hold();
    bool updateHeld();
    // Makes held row `i` the row last stored (written(), showWritten()), after updateHeld().
    void showHeld(int i);
    void cancelUpdate();
    bool editing() const { return m_mode != Mode::None; }
    QByteArray lastModified() const { return m_lastModified; }
    // A column of the row last stored.
    QVariant written(const QString& name) const;
    // Makes the row `writer` has just stored the current row, as setBookmark(lastModified())
    // would, without reading it back.
    void showWritten(const Recordset& writer);
    QString lastError() const { return m_lastError; }

    // The audit columns of the row being added or edited, stamped as every writer stamps
    // them (nothing in a table without them): a new row gets its maker and the time, and
    // the same as its latest change; a change moves the latest change as stored now into
    // the earlier pair and becomes the latest. Returns the columns written.
    QStringList stampAudit(int user, const QDateTime& now);
    // A delete is soft: the edited row is marked deleted (del_status kDeleted) and
    // stamped as a change; rows are never removed. Returns the audit columns written.
    static constexpr int kDeleted = 2;
    QStringList markDeleted(int user, const QDateTime& now);

    QVariant field(const QString& name) const;  // null for a null value
    QVariant field(int column) const;
    bool isNull(const QString& name) const { return field(name).isNull(); }
    void setField(const QString& name, const QVariant& v); // only while editing
    void setField(int column, const QVariant& v);

    std::unique_ptr<Recordset> clone() const;

private:
    enum class Mode { None, Add, Edit };
    using Row = QVector<QVariant>;

    enum class Near { Equal, From, After, Before };

    // Appends up to `limit` rows of one shape of read, in index order or backwards.
    void read(QVector<Row>& out, int shape, const std::function<QString()>& makeWhere, const QVariantList& binds,
              bool descending, int limit);
    void fetch(int shape, const std::function<QString()>& makeWhere, const QVariantList& binds, bool descending,
               int limit);
    // Makes `rows` (read in the direction given) the window.
    void setWindow(QVector<Row> rows, bool descending, int limit);
    // Reads the window next to `key`, the values of the first key.size() order columns:
    // equal to it, from it on, after it, or before it going backwards.
    void fetchNear(const QVariantList& key, Near near, int limit);
    QStringList orderColumns() const;
    void setOrder();
    QVariantList keyOf(const Row& r) const;
    // 1 found, 0 known absent, -1 the rows read cannot tell.
    int seekInWindow(const IndexDef& ix, const QVariantList& keys);
    const Row& current() const;
    void ensureCurrent() const;

    Connection* m_c;
    const TableDef* m_table;
    QVector<int> m_cols;          // the columns read, in table order
    QVector<bool> m_inProjection;
    QString m_index;
    QStringList m_order;
    QStringList m_orderExpr;     // what each order column is sorted and compared by, quoted
    QVector<bool> m_orderKeyed;  // by its sort key: values are bound as keys
    QVector<Row> m_buf;
    int m_pos = -1;
    bool m_noMatch = false;
    bool m_exhausted = false;
    int m_window = 1;
    int m_readAhead = 1;
    quint64 m_generation = 0;
    quint64 m_epoch = 0;

    int m_keyFloor = 0;
    Mode m_mode = Mode::None;
    Row m_editRow;
    QVector<bool> m_dirty;
    // editStored without a read: the key, and the columns the update copies from the row as
    // stored (the column they come from; -1 none).
    bool m_unread = false;
    QVariant m_unreadKey;
    QVector<int> m_fromStored;
    QByteArray m_lastModified;
    Row m_written; // the row last stored, as stored
    QVector<Row> m_held, m_heldStored; // new rows held for updateHeld(); the last so stored
    QString m_lastError;
    QHash<qint64, QSqlQuery*> m_statements; // owned by the connection
    QHash<QByteArray, QString> m_updateCache;
};

} // namespace NexoFrame
