#include "ListWizard.h"
#include "ListWizardDialog.h"
#include "ModalDriver.h"
#include "Snapshots.h"
#include "TestDatabase.h"
#include "HostileSql.h"
#include "PagingSample.h"
#include "ReadOnlySource.h"
#include <QAction>
#include <QCheckBox>
#include <QComboBox>
#include <QDateEdit>
#include <QDir>
#include <QLineEdit>
#include <QJsonArray>
#include <QJsonDocument>
#include <QRegularExpression>
#include <QScrollBar>
#include <QListWidget>
#include <QProcess>
#include <QTableView>
#include <QTableWidget>
#include <QTemporaryDir>
#include <QTest>
#include <QTreeWidget>

using namespace NexoFrame;
using namespace NexoFrame::Controls;

namespace {

// The five rights as bits, in the order the panel asks them.
enum Bit { Edit = 1, EditAll = 2, Print = 4, Export = 8, Param = 16 };

QStringList gridRows(ListWizard& w)
{
    QAbstractItemModel* m = w.grid()->model();
    while (m->canFetchMore({})) m->fetchMore({});
    QStringList rows;
    for (int r = 0; r < m->rowCount(); ++r) {
        QStringList cells;
        for (int c = 0; c < m->columnCount(); ++c) cells << m->index(r, c).data().toString();
        rows << cells.join(QLatin1Char('\t'));
    }
    return rows;
}

QString run(const QString& program, const QStringList& args)
{
    QProcess p;
    p.setProcessChannelMode(QProcess::MergedChannels);
    p.start(program, args);
    p.waitForFinished(-1);
    return QString::fromUtf8(p.readAllStandardOutput());
}

QByteArray definition(const QString& conditions, const QString& source = QStringLiteral("qnd_user_list_view"),
                      const QString& columns = QStringLiteral(R"([{"field": "display_name"}, {"field": "user_name"}])"))
{
    return QStringLiteral(R"({"format": "nexo-lista", "version": 1, "source": "%1", "columns": %2, "match": "all",
                              "conditions": %3, "sort": [{"field": "display_name"}]})")
        .arg(source, columns, conditions)
        .toUtf8();
}

} // namespace

class tst_listwizard : public QObject {
    Q_OBJECT

    TestDatabase m_db;
    std::unique_ptr<Connection> m_c;
    QTemporaryDir m_work;

    std::unique_ptr<ListWizard> wizard(int rights, int user = 1)
    {
        auto w = std::make_unique<ListWizard>();
        w->setProperty("CanEdit", bool(rights & Edit));
        w->setProperty("CanEditAll", bool(rights & EditAll));
        w->setProperty("CanPrint", bool(rights & Print));
        w->setProperty("CanExport", bool(rights & Export));
        w->setProperty("CanSetParameters", bool(rights & Param));
        w->setProperty("Database", QVariant::fromValue<QObject*>(m_c.get()));
        w->setProperty("WorkFolder", m_work.path());
        w->setProperty("UserID", user);
        w->setProperty("CompanyHeader", QVariantMap{{"RegUserNev", "Próba Kft."}, {"RegUserCim", "1117 Budapest"}});
        if (!w->Init()) qWarning("%s", qPrintable(w->lastError()));
        w->resize(1000, 700);
        return w;
    }
    int count(const QString& sql, const QVariantList& binds = {}) { return m_c->select(sql, binds).value(0).value(0).toInt(); }
    // The lists as stored: how many, and how long their names and definitions are.
    QString lists()
    {
        const QVariantList r = m_c->select(QStringLiteral("SELECT COUNT(*), SUM(LENGTH(caption) + LENGTH(definition)) FROM qnd_list "
                                                          "WHERE del_status=0")).value(0);
        return r.value(0).toString() + QLatin1Char('/') + r.value(1).toString();
    }

private slots:
    void initTestCase()
    {
        m_c = m_db.open();
        QVERIFY(m_work.isValid());
    }
    void init() { resetModalDriver(); }

    // Kovács Anna (2) owns list 2; list 1 is the administrator's. Every combination of the
    // five rights: the commands shown, and the same refusals when the interface is bypassed.
    void everyPermissionCombination()
    {
        const QString before = lists();
        const QString export_ = m_work.filePath(QStringLiteral("refused.csv"));
        for (int rights = 0; rights < 32; ++rights) {
            const QByteArray tag = QByteArray::number(rights);
            auto w = wizard(rights, 2);
            QCOMPARE(w->lists().size(), 3);
            const bool edit = rights & (Edit | EditAll);
            for (const char* c : {"cmd_new", "cmd_edit", "cmd_delete"}) QVERIFY2(w->command(QString::fromLatin1(c))->isVisible() == edit, tag);
            QVERIFY2(w->command(QStringLiteral("cmd_print"))->isVisible() == bool(rights & Print), tag);
            QVERIFY2(w->command(QStringLiteral("cmd_export"))->isVisible() == bool(rights & Export), tag);
            QVERIFY(w->selectList(2));
            QVERIFY2(w->command(QStringLiteral("cmd_edit"))->isEnabled() == edit, tag);
            QVERIFY(w->selectList(1));
            QVERIFY2(w->command(QStringLiteral("cmd_delete"))->isEnabled() == bool(rights & EditAll), tag);

            // Round the interface: refused alike, and nothing written.
            const QByteArray plain = definition(QStringLiteral("[]"));
            const QByteArray asked = definition(QStringLiteral(R"([{"field": "user_name", "op": "begins", "value": "k", "ask": "Név?"}])"));
            if (!edit) {
                QCOMPARE(w->saveList(0, QStringLiteral("Tilos"), plain), -1);
                QVERIFY2(w->lastError().contains(QStringLiteral("Nincs jogosultsága")), qPrintable(w->lastError()));
                QCOMPARE(w->newList(), 0);
            }
            if (!(rights & EditAll)) {
                QCOMPARE(w->saveList(1, QStringLiteral("Más listája"), plain), -1);
                QVERIFY(!w->deleteList(1));
                QCOMPARE(w->editList(1), 0);
            }
            if (!(rights & Param)) {
                QCOMPARE(w->saveList(2, QStringLiteral("Kérdéssel"), asked), -1);
                QVERIFY(w->lastError().contains(edit ? QStringLiteral("paramétereinek") : QStringLiteral("Nincs jogosultsága")));
            }
            QVERIFY(w->runList(1));
            if (!(rights & Export)) {
                QVERIFY(!w->exportList(QStringLiteral("csv"), export_));
                QVERIFY(w->lastError().contains(QStringLiteral("exportálásához")));
                QVERIFY(!QFile::exists(export_));
            }
            if (!(rights & Print)) {
                QVERIFY(!w->printList(true));
                QVERIFY(w->lastError().contains(QStringLiteral("nyomtatásához")));
            }
            QCOMPARE(lists(), before);
        }
        // Allowed: the owner changes his own list, with a question when he may set parameters.
        auto w = wizard(Edit | Param, 2);
        QCOMPARE(w->saveList(2, QStringLiteral("Anna listája"),
                             definition(QStringLiteral(R"([{"field": "user_name", "op": "begins", "value": "k", "ask": "Név?"}])"))),
                 2);
        QVERIFY(w->runList(2, {QStringLiteral("n")}));
        QCOMPARE(gridRows(*w), QStringList{QStringLiteral("Nagy Péter\tnagy.peter")});
        // Without the parameter right the question stays as it was, and the rest may change.
        auto plain = wizard(Edit, 2);
        QCOMPARE(plain->saveList(2, QString(150, QLatin1Char('a')), w->lists().at(0).definition.toJson()), 2);
        QCOMPARE(count(QStringLiteral("SELECT LENGTH(caption) FROM qnd_list WHERE id=2")), 100);
    }

    // A list built through the wizard's pages, saved, opened again and run gives the rows a
    // bare query gives.
    void builtThroughTheWizard()
    {
        auto w = wizard(Edit | Param, 1);
        const int lists = w->lists().size();
        onNextModal([](QWidget* d) {
            auto* dlg = qobject_cast<ListWizardDialog*>(d);
            QVERIFY(dlg);
            dlg->lst_source->setCurrentRow(0); // Felhasználók
            keepPicture(dlg, QStringLiteral("wizard1"));
            dlg->next();
            QCOMPARE(dlg->currentId(), int(ListWizardDialog::ColumnsPage));
            for (const QString& f : {QStringLiteral("Név"), QStringLiteral("Csoport"), QStringLiteral("Gépkocsivezető")}) {
                dlg->lst_available->setCurrentItem(dlg->lst_available->findItems(f, Qt::MatchExactly).value(0));
                clickButton(dlg, QStringLiteral("cmd_add"));
            }
            dlg->lst_chosen->item(0)->setText(QStringLiteral("Sofőr neve"));
            keepPicture(dlg, QStringLiteral("wizard2"));
            dlg->next();
            clickButton(dlg, QStringLiteral("cmd_add_condition"));
            auto* field = qobject_cast<QComboBox*>(dlg->tbl_conditions->cellWidget(0, 0));
            field->setCurrentIndex(field->findText(QStringLiteral("Gépkocsivezető")));
            auto* op = qobject_cast<QComboBox*>(dlg->tbl_conditions->cellWidget(0, 1));
            QCOMPARE(op->itemText(0), QStringLiteral("igen"));
            clickButton(dlg, QStringLiteral("cmd_add_condition"));
            qobject_cast<QComboBox*>(dlg->tbl_conditions->cellWidget(1, 0))->setCurrentIndex(8); // Felvéve
            auto* since = qobject_cast<QComboBox*>(dlg->tbl_conditions->cellWidget(1, 1));
            since->setCurrentIndex(since->findText(QStringLiteral("legalább (-tól)")));
            dlg->tbl_conditions->item(1, 2)->setText(QStringLiteral("2000-01-01"));
            dlg->tbl_conditions->item(1, 4)->setText(QStringLiteral("Kezdő dátum?"));
            keepPicture(dlg, QStringLiteral("wizard3"));
            dlg->next();
            dlg->cbo_sort[0]->setCurrentIndex(dlg->cbo_sort[0]->findText(QStringLiteral("Név")));
            dlg->chk_descending[0]->setChecked(true);
            keepPicture(dlg, QStringLiteral("wizard4"));
            dlg->next();
            dlg->cbo_group->setCurrentIndex(dlg->cbo_group->findText(QStringLiteral("Csoport")));
            keepPicture(dlg, QStringLiteral("wizard5"));
            dlg->cbo_group->setCurrentIndex(0);
            dlg->next();
            dlg->txt_caption->setText(QStringLiteral("Sofőrök"));
            keepPicture(dlg, QStringLiteral("wizard6"));
            dlg->accept();
        });
        const int id = w->newList();
        QVERIFY2(id > 0, qPrintable(w->lastError()));
        QCOMPARE(w->lists().size(), lists + 1);
        // The question comes when it runs, with its default.
        onNextModal([](QWidget* d) {
            auto* since = d->findChild<QDateEdit*>(QStringLiteral("ask_0"));
            QVERIFY(since);
            QCOMPARE(since->date(), QDate(2000, 1, 1));
            keepPicture(d, QStringLiteral("question"));
            clickButton(d, QStringLiteral("Rendben"));
        });
        QVERIFY(w->runList(id));
        w->show();
        keepPicture(w.get(), QStringLiteral("grid"));
        QStringList bare;
        for (const QVariantList& r : m_c->select(QStringLiteral("SELECT display_name, group_name FROM qnd_user_list_view WHERE is_driver = ? "
                                                                "AND create_date >= '2000-01-01' ORDER BY display_name DESC, id DESC"),
                                                 {m_c->engine().storedBool(true)}))
            bare << r[0].toString() + QLatin1Char('\t') + r[1].toString() + QStringLiteral("\t✓");
        QVERIFY(bare.size() >= 2);
        QCOMPARE(gridRows(*w), bare);
        QCOMPARE(w->grid()->model()->headerData(0, Qt::Horizontal).toString(), QStringLiteral("Sofőr neve"));

        // Another machine sees it, and the wizard opens it as it was saved.
        auto other = wizard(Edit, 1);
        QVERIFY(other->entry(id));
        onNextModal([](QWidget* d) {
            auto* dlg = qobject_cast<ListWizardDialog*>(d);
            QCOMPARE(dlg->txt_caption->text(), QStringLiteral("Sofőrök"));
            QCOMPARE(dlg->lst_chosen->count(), 3);
            QCOMPARE(dlg->lst_chosen->item(0)->text(), QStringLiteral("Sofőr neve"));
            QCOMPARE(dlg->tbl_conditions->rowCount(), 2);
            QVERIFY(dlg->chk_descending[0]->isChecked());
            QVERIFY(dlg->tbl_conditions->isColumnHidden(4)); // no parameter right: no questions
            dlg->reject();
        });
        QCOMPARE(other->editList(id), 0);
        QCOMPARE(expiredModalActions(), 0);
    }

    // Hostile text is bound, never run: quotes, a statement after it, 5,000 characters.
    void hostileFiltersAreBound()
    {
        auto w = wizard(Edit | Param, 1);
        const int users = count(QStringLiteral("SELECT COUNT(*) FROM qnd_user"));
        for (const QString& text : {QStringLiteral("x'; DROP TABLE qnd_user; --"), QStringLiteral("\" OR 1=1 --"), QStringLiteral("' OR '1'='1"),
                                    QString(5000, QLatin1Char('x')), QStringLiteral("100%_\\")}) {
            const QJsonValue v(text);
            const QString cond = QStringLiteral(R"([{"field": "display_name", "op": "contains", "value": %1, "ask": "Név?"}])")
                                     .arg(QString::fromUtf8(QJsonDocument(QJsonArray{v}).toJson(QJsonDocument::Compact)).mid(1).chopped(1));
            const int id = w->saveList(0, text, definition(cond));
            QVERIFY2(id > 0, qPrintable(w->lastError()));
            QVERIFY(w->runList(id, {}, false));
            QCOMPARE(w->loadedRows(), 0);
            QVERIFY(w->runList(id, {text}));
            QCOMPARE(w->loadedRows(), 0);
        }
        // "%" and "_" are looked for as they are, not as wildcards.
        QVERIFY(w->runList(w->saveList(0, QStringLiteral("Bárki"), definition(QStringLiteral(R"([{"field": "display_name", "op": "contains", "value": "_"}])")))));
        QCOMPARE(w->loadedRows(), 0);
        QCOMPARE(count(QStringLiteral("SELECT COUNT(*) FROM qnd_user")), users);
        // A value that is not of its column's type is a message, not a query.
        QCOMPARE(w->saveList(0, QStringLiteral("Rossz"), definition(QStringLiteral(R"([{"field": "create_date", "op": "from", "value": "tegnap"}])"))), -1);
        QVERIFY(w->lastError().contains(QStringLiteral("nem dátum")));
        QCOMPARE(w->saveList(0, QStringLiteral("Idegen"), definition(QStringLiteral("[]"), QStringLiteral("qnd_user"))), -1);
        QCOMPARE(w->saveList(0, QStringLiteral("Idegen oszlop"), definition(QStringLiteral("[]"), QStringLiteral("qnd_user_list_view"),
                                                                            QStringLiteral(R"([{"field": "password"}])"))),
                 -1);
    }

    // Even a source an administrator opened on the secrets lists none of them: the password
    // column reads empty on a file and is refused on a server; the secret table never reads.
    void secretsStayHiddenFromAnOfferedSource()
    {
        const QStringList secrets = Hostile::storedSecrets(*m_c);
        QVERIFY(!secrets.isEmpty());
        const int key = m_c->keys().newKey(Tables::ListSource);
        QVERIFY(m_c->execute(QStringLiteral("INSERT INTO qnd_list_source (id, sort_order, table_name, caption, columns, del_status) "
                                            "VALUES (?, 90, 'qnd_user', 'Jelszavak', ?, 0), (?, 91, 'qnd_secret', 'Titkok', ?, 0)"),
                             {key, QStringLiteral("user_name=Név\ndisplay_name=Teljes név\npassword=Jelszó"), key + 1000,
                              QStringLiteral("key_name=Kulcs\nvalue=Érték")}));
        auto w = wizard(Edit, 1);
        const int passwords = w->saveList(0, QStringLiteral("Jelszavak"),
                                          definition(QStringLiteral("[]"), QStringLiteral("qnd_user"),
                                                     QStringLiteral(R"([{"field": "user_name"}, {"field": "password"}])")));
        QVERIFY2(passwords > 0, qPrintable(w->lastError()));
        const bool ran = w->runList(passwords);
        const QStringList rows = gridRows(*w);
        for (const QString& secret : secrets) QVERIFY2(!rows.join(QLatin1Char('\n')).contains(secret), qPrintable(secret));
        if (ran && !testingPostgres()) QVERIFY(!rows.isEmpty());
        const int settings = w->saveList(0, QStringLiteral("Titkok"),
                                         QByteArray(R"({"format": "nexo-lista", "version": 1, "source": "qnd_secret", "match": "all",
                                                       "columns": [{"field": "key_name"}, {"field": "value"}], "conditions": []})"));
        QVERIFY2(settings > 0, qPrintable(w->lastError()));
        w->runList(settings);
        QVERIFY(gridRows(*w).isEmpty());
        QVERIFY(Hostile::masterLockFree(*m_c));
    }

    // What is exported equals the grid: CSV and XLSX read back (the workbook by openpyxl),
    // the PDF through pdftotext.
    void exportsEqualTheGrid()
    {
        auto w = wizard(Export | Print, 1);
        QVERIFY(w->runList(1)); // users with their groups, grouped by group
        const QStringList grid = gridRows(*w);
        QVERIFY(grid.size() >= 6);
        QVERIFY(w->groupTable()->isVisible() || w->groupTable()->topLevelItemCount() > 0);
        const QStringList headings{QStringLiteral("Csoport"), QStringLiteral("Név"), QStringLiteral("Bejelentkezési név"),
                                   QStringLiteral("Beosztás"), QStringLiteral("Gépkocsivezető")};

        const QString csv = m_work.filePath(QStringLiteral("users.csv"));
        QVERIFY2(w->exportList(QStringLiteral("csv"), csv), qPrintable(w->lastError()));
        QFile f(csv);
        QVERIFY(f.open(QIODevice::ReadOnly));
        QVERIFY(f.read(3) == "\xEF\xBB\xBF");
        QStringList lines = QString::fromUtf8(f.readAll()).split(QStringLiteral("\r\n"), Qt::SkipEmptyParts);
        QCOMPARE(lines.takeFirst(), headings.join(QLatin1Char(';')));
        for (QString& l : lines) l.replace(QLatin1Char(';'), QLatin1Char('\t'));
        QCOMPARE(lines, grid);

        const QString xlsx = m_work.filePath(QStringLiteral("users.xlsx"));
        QVERIFY2(w->exportList(QStringLiteral("xlsx"), xlsx), qPrintable(w->lastError()));
        // Debian's own interpreter: the one its python3-openpyxl belongs to.
        const QString read = run(QStringLiteral("/usr/bin/python3"),
                                 {QStringLiteral("-c"), QStringLiteral("import openpyxl, sys\n"
                                                                       "ws = openpyxl.load_workbook(sys.argv[1]).active\n"
                                                                       "for row in ws.iter_rows(values_only=True):\n"
                                                                       "    print('\\t'.join('' if c is None else str(c) for c in row))\n"),
                                  xlsx});
        QStringList sheet = read.split(QLatin1Char('\n'), Qt::SkipEmptyParts);
        QVERIFY2(!sheet.isEmpty() && !sheet.first().startsWith(QStringLiteral("Traceback")), qPrintable(read));
        QCOMPARE(sheet.takeFirst(), headings.join(QLatin1Char('\t')));
        for (QString& l : sheet) l = l.replace(QRegularExpression(QStringLiteral("\t+$")), QString());
        QStringList trimmed = grid;
        for (QString& l : trimmed) l = l.replace(QRegularExpression(QStringLiteral("\t+$")), QString());
        QCOMPARE(sheet, trimmed);

        const QString pdf = m_work.filePath(QStringLiteral("users.pdf"));
        QVERIFY2(w->exportList(QStringLiteral("pdf"), pdf), qPrintable(w->lastError()));
        const QString text = run(QStringLiteral("pdftotext"), {QStringLiteral("-layout"), pdf, QStringLiteral("-")}).simplified();
        if (qEnvironmentVariableIsSet("NEXO_KEEP_OUTPUT"))
            run(QStringLiteral("pdftoppm"), {QStringLiteral("-png"), QStringLiteral("-r"), QStringLiteral("70"), pdf,
                                             QDir(qEnvironmentVariable("NEXO_KEEP_OUTPUT")).filePath(QStringLiteral("printed"))});
        for (const QString& s : {QStringLiteral("Próba Kft."), QStringLiteral("Felhasználók csoportjukkal"), QStringLiteral("Bejelentkezési név"),
                                 QStringLiteral("Kiss Béla"), QStringLiteral("Vezetők: 1 sor"), QStringLiteral("Gépkocsivezetők: 2 sor"),
                                 QStringLiteral("Összesen: %1 sor").arg(grid.size()), QStringLiteral("1. oldal / 1")})
            QVERIFY2(text.contains(s), qPrintable(s));

        // A file that cannot be written is a message and leaves nothing behind.
        QVERIFY(!w->exportList(QStringLiteral("xlsx"), QStringLiteral("/nincs/ilyen/mappa/a.xlsx")));
        QVERIFY(!w->lastError().isEmpty());
    }

    // Groups carry their counts and sums, as GROUP BY gives them, and the rows of a group
    // come together.
    void groupsCountAndSum()
    {
        auto e = wizard(Edit, 1);
        const int id = e->saveList(0, QStringLiteral("Régiók"),
                                   QByteArrayLiteral(R"({"format": "nexo-lista", "version": 1, "source": "olap_sample_sales",
                                       "columns": [{"field": "product"}, {"field": "quantity"}, {"field": "amount"}], "match": "any",
                                       "conditions": [{"field": "paid", "op": "yes"}, {"field": "quantity", "op": "between", "value": "1", "value2": "5"}],
                                       "sort": [{"field": "product"}], "group": {"field": "region", "sums": ["quantity", "amount"]}})"));
        QVERIFY2(id > 0, qPrintable(e->lastError()));
        QVERIFY(e->runList(id));
        QStringList shown;
        for (int i = 0; i < e->groupTable()->topLevelItemCount(); ++i) {
            const QTreeWidgetItem* g = e->groupTable()->topLevelItem(i);
            shown << QStringList{g->text(0), g->text(1), g->text(2), g->text(3)}.join(QLatin1Char('|'));
        }
        QStringList bare;
        for (const QVariantList& r : m_c->select(QStringLiteral("SELECT region, COUNT(*), SUM(quantity), SUM(amount) FROM olap_sample_sales "
                                                                "WHERE paid = ? OR (quantity >= 1 AND quantity <= 5) GROUP BY region ORDER BY region COLLATE nexo_hu"),
                                                 {m_c->engine().storedBool(true)}))
            bare << QStringList{r[0].toString(), r[1].toString(), r[2].toString(), shownValue(r[3], ColType::Double)}.join(QLatin1Char('|'));
        QCOMPARE(shown, bare);
        QCOMPARE(e->groupTable()->headerItem()->text(3), QStringLiteral("Összeg"));
    }

    void pagesOnDemand()
    {
        // More rows than a page: the grid holds the first page, scrolling brings the rest.
        for (int i = 0; i < 450; ++i)
            QVERIFY(m_c->execute(QStringLiteral("INSERT INTO qnd_menu_log (id, user_id, menu_id, log_date) VALUES (?, 1, 4, ?)"),
                                 {800000 + i, QDateTime(QDate(2026, 1, 1), QTime(8, 0)).addSecs(i * 60).toString(QStringLiteral("yyyy-MM-dd HH:mm:ss"))}));
        auto w = wizard(0, 1);
        const int id = [&] {
            auto e = wizard(Edit, 1);
            return e->saveList(0, QStringLiteral("Sok sor"),
                               QByteArrayLiteral(R"({"format": "nexo-lista", "version": 1, "source": "qnd_menu_log_view",
                                   "columns": [{"field": "log_date"}, {"field": "menu_item"}], "match": "all",
                                   "conditions": [{"field": "log_date", "op": "between", "value": "2026-01-01", "value2": "2026.01.01."}],
                                   "sort": [{"field": "log_date", "descending": true}]})"));
        }();
        QVERIFY(id > 0);
        QVERIFY(w->Init());
        QVERIFY(w->runList(id));
        QCOMPARE(w->loadedRows(), 200);
        QCOMPARE(gridRows(*w).size(), 450);
        QCOMPARE(gridRows(*w).first().section(QLatin1Char('\t'), 0, 0), QStringLiteral("2026.01.01. 15:29"));
        // A definition of a later version is refused, not half read.
        ListDefinition d;
        QString why;
        QVERIFY(!ListDefinition::fromJson(R"({"format": "nexo-lista", "version": 2, "source": "x"})", &d, &why));
        QVERIFY(why.contains(QStringLiteral("2. változatát")));
    }

    // The grid reads its next page after the last row's sort values: the rows and their order
    // are those that counting rows off gives, over ties, nulls, Hungarian names and mixed
    // directions; Ctrl+End reads the last page, and scrolling up from there the rest.
    void keysetPaging()
    {
        QVERIFY(fillPagingSample(*m_c));
        QVERIFY(m_c->execute(QStringLiteral("UPDATE qnd_list_source SET columns = columns || ? WHERE table_name = 'olap_sample_sales'"),
                             {QStringLiteral("\nid=Azonosító")}));
        auto w = wizard(Edit, 1);
        w->show();
        QString why;
        const auto link = ReadOnlySource::open(*m_c, &why);
        QVERIFY2(link, qPrintable(why));
        const QStringList sorts{
            R"([{"field": "region"}, {"field": "quantity", "descending": true}])",
            R"([{"field": "sale_date", "descending": true}, {"field": "region"}])",
            R"([{"field": "region", "descending": true}, {"field": "amount"}, {"field": "paid", "descending": true}])",
            R"([{"field": "quantity"}, {"field": "sale_date"}])",
        };
        for (const QString& sort : sorts) {
            const QString def = QStringLiteral(R"({"format": "nexo-lista", "version": 1, "source": "olap_sample_sales",
                "columns": [{"field": "id"}, {"field": "region"}], "match": "any",
                "conditions": [{"field": "product", "op": "not_equals", "value": "Termék 3"}, {"field": "paid", "op": "yes"}],
                "sort": %1})").arg(sort);
            const int id = w->saveList(0, QStringLiteral("Lapozás"), def.toUtf8());
            QVERIFY2(id > 0, qPrintable(w->lastError()));
            QVERIFY(w->runList(id));
            QStringList counted;
            for (int from = 0;; from += 200) {
                const qsizetype before = counted.size();
                QVERIFY(link->run(w->query().select + QStringLiteral(" LIMIT 200 OFFSET ?"), w->query().binds + QVariantList{from}, nullptr,
                                  [&](const QVariantList& r) { counted << r.value(0).toString(); return true; }, &why));
                if (counted.size() - before < 200) break;
            }
            QVERIFY(counted.size() > 1000);
            const auto ids = [&] {
                QStringList l;
                for (int r = 0; r < w->grid()->model()->rowCount(); ++r) l << w->grid()->model()->index(r, 0).data().toString();
                return l;
            };
            QTest::keyClick(w->grid(), Qt::Key_End, Qt::ControlModifier);
            QCOMPARE(w->loadedRows(), 200);
            QVERIFY2(ids() == counted.mid(counted.size() - 200), qPrintable(sort));
            for (int up = 0; w->loadedRows() < counted.size() && up < 10; ++up) w->grid()->verticalScrollBar()->setValue(0);
            QVERIFY2(ids() == counted, qPrintable(sort));
            QTest::keyClick(w->grid(), Qt::Key_Home, Qt::ControlModifier);
            gridRows(*w);
            QVERIFY2(ids() == counted, qPrintable(sort));
        }
    }
};

QTEST_MAIN(tst_listwizard)
#include "tst_listwizard.moc"
