#include "ControlUtils.h"
#include "Connection.h"
#include "Module.h"
#include "ModuleTexts.h"
#include "Recordset.h"
#include "RuntimeError.h"
#include "SettingKeys.h"

#include <QCheckBox>
#include <QComboBox>
#include <QCoreApplication>
#include <QCursor>
#include <QGuiApplication>
#include <QListWidget>
#include <QLocale>
#include <QSignalBlocker>
#include <QStyle>

namespace NexoFrame {

namespace {

// Run-time error numbers the original controls raised for the same faults.
constexpr long kBadIndex = 381;
constexpr long kNoObject = 91;
constexpr long kNotSupported = 438;

// The own company's row in the partner table.
constexpr int kOwnPartnerType = 6;

// Small print below this becomes unreadable on today's screens.
constexpr qreal kMinPointSize = 8.0;

void needObject(const void* p)
{
    if (!p) throw RuntimeError(QStringLiteral("Az objektumváltozó nincs beállítva."), kNoObject);
}

void needIndex(int index, int count)
{
    if (index < 0 || index >= count)
        throw RuntimeError(QStringLiteral("Érvénytelen tömbindex: %1.").arg(index), kBadIndex);
}

Connection& shared()
{
    Connection* c = module().connection();
    if (!c) throw DbError(ModuleTexts::kNoConnection);
    return *c;
}

QString textOf(const Recordset& rs, const QString& field)
{
    return NullTo(rs.field(field), QMetaType::fromType<QString>()).toString();
}

bool flag(const Recordset& rs, const QString& field)
{
    return NullTo(rs.field(field), QMetaType::fromType<bool>()).toBool();
}

bool showsWaitCursor()
{
    const QCursor* c = QGuiApplication::overrideCursor();
    return c && c->shape() == Qt::WaitCursor;
}

// --- adaptors ------------------------------------------------------------------------------

// The item data lives in the entries' Qt::UserRole; an index out of range is refused the
// same way for every kind of list.
class UserRoleList : public ListAdaptor {
public:
    int ItemData(int index) const final
    {
        needIndex(index, ListCount());
        return NullTo(dataAt(index), QMetaType::fromType<int>()).toInt();
    }
    void setItemData(int index, int data) final
    {
        needIndex(index, ListCount());
        setDataAt(index, data);
    }

protected:
    virtual QVariant dataAt(int index) const = 0;
    virtual void setDataAt(int index, int data) = 0;
};

class ComboBoxList final : public UserRoleList {
public:
    explicit ComboBoxList(QComboBox* box) : m_box(box) { needObject(box); }
    int ListCount() const override { return m_box->count(); }
    int ListIndex() const override { return m_box->currentIndex(); }
    void setListIndex(int index) override { m_box->setCurrentIndex(index); }
    int AddItem(const QString& text) override
    {
        // A box selects the first entry put into it; a list that had no selection must keep
        // none, or reading it would hand out the first entry's number instead of the default.
        const int at = m_box->count();
        if (m_box->currentIndex() < 0) {
            const QSignalBlocker quiet(m_box);
            m_box->insertItem(at, text);
            m_box->setCurrentIndex(-1);
        } else {
            m_box->insertItem(at, text);
        }
        return at;
    }
    void Clear() override { m_box->clear(); }

private:
    QVariant dataAt(int index) const override { return m_box->itemData(index, Qt::UserRole); }
    void setDataAt(int index, int data) override { m_box->setItemData(index, data, Qt::UserRole); }

    QComboBox* m_box;
};

class ListWidgetList final : public UserRoleList {
public:
    explicit ListWidgetList(QListWidget* list) : m_list(list) { needObject(list); }
    int ListCount() const override { return m_list->count(); }
    int ListIndex() const override { return m_list->currentRow(); }
    void setListIndex(int index) override { m_list->setCurrentRow(index); }
    int AddItem(const QString& text) override
    {
        // A sorting list places the entry by its text: ask where it went.
        auto* item = new QListWidgetItem(text);
        m_list->addItem(item);
        return m_list->row(item);
    }
    void Clear() override { m_list->clear(); }

private:
    QVariant dataAt(int index) const override { return m_list->item(index)->data(Qt::UserRole); }
    void setDataAt(int index, int data) override { m_list->item(index)->setData(Qt::UserRole, data); }

    QListWidget* m_list;
};

} // namespace

ListRef::ListRef(QComboBox* box) : m_owned(std::make_unique<ComboBoxList>(box)), m_list(m_owned.get()) {}
ListRef::ListRef(QListWidget* list) : m_owned(std::make_unique<ListWidgetList>(list)), m_list(m_owned.get()) {}

std::unique_ptr<ListAdaptor> listOf(QWidget* control)
{
    needObject(control);
    if (auto* box = qobject_cast<QComboBox*>(control)) return std::make_unique<ComboBoxList>(box);
    if (auto* list = qobject_cast<QListWidget*>(control)) return std::make_unique<ListWidgetList>(list);
    throw RuntimeError(QStringLiteral("Az objektum nem támogatja ezt a tulajdonságot vagy metódust: %1.")
                           .arg(QString::fromLatin1(control->metaObject()->className())),
                       kNotSupported);
}

// --- lists ---------------------------------------------------------------------------------

void ComboAddItemData(ListRef list, const QString& text, int data)
{
    const int at = list->AddItem(text);
    list->setItemData(at, data);
}

void ComboFill(ListRef list, Recordset& rs, const QString& textField, const QString& dataField,
               const QString& indexName, bool withNone)
{
    list->Clear();
    if (withNone) ComboAddItemData(*list, QStringLiteral("<Nincsen>"), -1);

    rs.moveLast();
    rs.moveFirst();
    rs.setIndex(indexName);
    // Choosing an index leaves no current row here: start over in the index's order.
    rs.moveFirst();
    while (!rs.eof()) {
        const QString text = NullTo(rs.field(textField), QMetaType::fromType<QString>()).toString();
        const int data = NullTo(rs.field(dataField), QMetaType::fromType<int>()).toInt();
        ComboAddItemData(*list, text, data);
        rs.moveNext();
    }

    rs.setIndex(QString());
    // Other readers must see what was just read as current, not a cached state.
    if (Connection* c = module().connection()) c->idle();
}

bool ComboSelectByData(ListRef list, int data, std::optional<int> second)
{
    auto select = [&](int wanted) {
        const int n = list->ListCount();
        for (int i = 0; i < n; ++i)
            if (list->ItemData(i) == wanted) {
                list->setListIndex(i);
                return true;
            }
        return false;
    };
    if (select(data)) return true;
    return second && select(*second);
}

int ComboGetData(ListRef list, int defaultValue)
{
    const int at = list->ListIndex();
    return at >= 0 ? list->ItemData(at) : defaultValue;
}

bool ComboSelectFirst(ListRef list)
{
    if (list->ListCount() == 0) return false;
    list->setListIndex(0);
    return true;
}

// --- check boxes, cursor -------------------------------------------------------------------

bool CheckGet(const QCheckBox* check)
{
    needObject(check);
    // A partly ticked box is not ticked.
    return check->checkState() == Qt::Checked;
}

bool CheckSet(QCheckBox* check, bool value)
{
    needObject(check);
    check->setCheckState(value ? Qt::Checked : Qt::Unchecked);
    return true;
}

void WaitCursorOn(QWidget* control)
{
    // The hourglass is a state, not a count: a second call changes nothing.
    if (!showsWaitCursor()) QGuiApplication::setOverrideCursor(QCursor(Qt::WaitCursor));
    if (control) control->setCursor(Qt::WaitCursor);
    QCoreApplication::processEvents();
}

void WaitCursorOff(QWidget* control)
{
    // Undo every hourglass put up, however often On was called, but leave other
    // cursors (an arrow over a message, say) to their owners.
    while (showsWaitCursor()) QGuiApplication::restoreOverrideCursor();
    if (control) control->unsetCursor();
    QCoreApplication::processEvents();
}

// --- values, settings ----------------------------------------------------------------------

QVariant NullTo(const QVariant& value, QMetaType wanted)
{
    if (!value.isNull() || !wanted.isValid()) return value;
    // A default-constructed value, not a null one, so that later tests for null pass it.
    void* empty = wanted.create();
    QVariant result(wanted, empty);
    wanted.destroy(empty);
    return result;
}

QVariant ReadSetting(const QString& key, const QVariant& defaultValue)
{
    return shared().settings().read(SettingKeys::kCompany, key, defaultValue.toString());
}

// --- partner lookups -----------------------------------------------------------------------

QString CityOfZipcode(const QString& zipcode)
{
    auto rs = shared().openRecordset(Tables::Zipcode);
    rs->setIndex(QStringLiteral("Zipcode"));
    if (!rs->seek({zipcode})) return QString();
    const QString city = textOf(*rs, QStringLiteral("city")).trimmed();
    // Every district of the capital counts as one city.
    if (city.left(8).toUpper() == QLatin1String("BUDAPEST")) return QStringLiteral("Budapest");
    return city;
}

QString HomeZipcode()
{
    Connection& c = shared();
    auto partner = c.openRecordset(Tables::Partner);
    partner->setIndex(QStringLiteral("pa_kmn_partner_type"));
    if (!partner->seek({kOwnPartnerType})) return QString();

    if (flag(*partner, QStringLiteral("pa_kmn_default_1")))
        return textOf(*partner, QStringLiteral("P_Isz")).trimmed();
    if (flag(*partner, QStringLiteral("pa_kmn_default_2")))
        return textOf(*partner, QStringLiteral("pa_irszlevel")).trimmed();

    auto site = c.openRecordset(Tables::PartnerSite);
    site->setIndex(QStringLiteral("pa_qndid"));
    if (!site->seek({partner->field(QStringLiteral("pa_qndid")), true})) return QString();
    return textOf(*site, QStringLiteral("mh_isz")).trimmed();
}

double DistanceOfZipcode(const QString& zipcode)
{
    const QString code = zipcode.trimmed();
    if (code.isEmpty()) return 0;
    const QString home = HomeZipcode();
    if (home.isEmpty()) return 0;
    const QString from = CityOfZipcode(home);
    const QString to = CityOfZipcode(code);
    if (from.isEmpty() || to.isEmpty()) return 0;

    auto rs = shared().openRecordset(Tables::Distance);
    rs->setIndex(QStringLiteral("Varos"));
    if (!rs->seek({from, to})) return 0;
    return NullTo(rs->field(QStringLiteral("KM")), QMetaType::fromType<double>()).toDouble();
}

int OwnPartnerId()
{
    Connection& c = shared();
    // Every driver's save asks; the company's own partner hardly ever changes.
    return c.settings().kept(QStringLiteral("own partner"), [&c] {
        auto rs = c.openRecordset(Tables::Partner);
        rs->setIndex(QStringLiteral("pa_kmn_partner_type"));
        if (!rs->seek({kOwnPartnerType})) return -1;
        return NullTo(rs->field(QStringLiteral("pa_qndid")), QMetaType::fromType<int>()).toInt();
    }).toInt();
}

// --- forms ---------------------------------------------------------------------------------

void PrepareForm(QWidget* form)
{
    needObject(form);
    // Without an icon of its own or of the application a dialog shows a blank in the title.
    if (form->windowIcon().isNull()) form->setWindowIcon(form->style()->standardIcon(QStyle::SP_ComputerIcon));
    QFont f = form->font();
    if (f.pointSizeF() > 0 && f.pointSizeF() < kMinPointSize) {
        f.setPointSizeF(kMinPointSize);
        form->setFont(f);
    }
    form->setLocale(QLocale(QLocale::Hungarian, QLocale::Hungary));
}

} // namespace NexoFrame
