#pragma once
#include <QMetaType>
#include <QString>
#include <QVariant>
#include <memory>
#include <optional>

class QCheckBox;
class QComboBox;
class QListWidget;
class QWidget;

namespace NexoFrame {

class Recordset;

// What the list procedures need of a list-like control: entries with a text and a number
// (the item data), a current entry and a count. Indexes are 0-based; -1 means no entry.
class ListAdaptor {
public:
    virtual ~ListAdaptor() = default;
    virtual int ListCount() const = 0;
    virtual int ListIndex() const = 0;
    virtual void setListIndex(int index) = 0;
    virtual int ItemData(int index) const = 0;        // RuntimeError when out of range
    virtual void setItemData(int index, int data) = 0; // RuntimeError when out of range
    virtual int AddItem(const QString& text) = 0;      // the new entry's index
    virtual void Clear() = 0;
};

// The adaptor for a QComboBox or QListWidget; RuntimeError for any other control.
std::unique_ptr<ListAdaptor> listOf(QWidget* control);

// The list argument of the procedures below, so that callers pass their control itself.
class ListRef {
public:
    ListRef(QComboBox* box);
    ListRef(QListWidget* list);
    ListRef(QWidget* control) : m_owned(listOf(control)), m_list(m_owned.get()) {}
    ListRef(ListAdaptor& list) : m_list(&list) {}
    ListAdaptor* operator->() const { return m_list; }
    ListAdaptor& operator*() const { return *m_list; }

private:
    std::unique_ptr<ListAdaptor> m_owned;
    ListAdaptor* m_list;
};

// Lists whose entries carry a number.
void ComboAddItemData(ListRef list, const QString& text, int data);
// Clears the list, adds "<Nincsen>" (-1) when withNone, then one entry per row of the
// recordset in the order of index `indexName`.
void ComboFill(ListRef list, Recordset& rs, const QString& textField, const QString& dataField,
               const QString& indexName, bool withNone);
// Selects the first entry carrying `data`, else the first carrying `second`; false and the
// selection untouched when none does.
bool ComboSelectByData(ListRef list, int data, std::optional<int> second = std::nullopt);
int ComboGetData(ListRef list, int defaultValue);
bool ComboSelectFirst(ListRef list);

bool CheckGet(const QCheckBox* check);
bool CheckSet(QCheckBox* check, bool value); // always true

// The hourglass over the application, and over `control` when given.
void WaitCursorOn(QWidget* control = nullptr);
void WaitCursorOff(QWidget* control = nullptr);

// A null value becomes the empty value of `wanted` ("", 0, an empty date); others pass.
QVariant NullTo(const QVariant& value, QMetaType wanted);

// A setting of section "KMN" of the shared connection.
QVariant ReadSetting(const QString& key, const QVariant& defaultValue = {});

// Lookups on the partner module's tables of the shared connection.
QString CityOfZipcode(const QString& zipcode);
QString HomeZipcode();
double DistanceOfZipcode(const QString& zipcode);
int OwnPartnerId();

// What every dialog's load applies before its own work.
void PrepareForm(QWidget* form);

} // namespace NexoFrame
