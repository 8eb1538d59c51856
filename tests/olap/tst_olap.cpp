#include "Connection.h"
#include "ModalSuite.h"
#include "RecordTesting.h"
#include "Module.h"
#include "OLAPReports.h"
#include "OlapPreview.h"
#include "OlapRun.h"
#include "TestSite.h"
#include "HostileSql.h"
#include "cDDXOlapReport.h"
#include "frmOlapReport.h"
#include "frmOlapReportForms.h"
#include <QBarCategoryAxis>
#include <QChart>
#include <QChartView>
#include <QCheckBox>
#include <QComboBox>
#include <QDialogButtonBox>
#include <QFileDialog>
#include <QHelpEvent>
#include <QLabel>
#include <QLineEdit>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QTabWidget>
#include <QTableView>
#include <QTableWidget>
#include <QTemporaryDir>
#include <QTest>
#include <QToolTip>
#include <QTreeWidget>

using namespace NexoFrame;

namespace {

std::unique_ptr<cDDXOlapReportField> field(const QString& caption, int type = cDDXOlapReportField::Dimension)
{
    auto f = std::make_unique<cDDXOlapReportField>();
    f->set_caption(caption);
    f->set_field_name(caption.toLower());
    f->set_field_type(type);
    return f;
}

QStringList captions(const cDDXOlapReport& r)
{
    QStringList l;
    for (int i = 1; i <= r.ReportFieldCount(); ++i) l << r.ReportField(i)->caption();
    return l;
}

QList<QVariantList> storedFields(Connection& c, int report)
{
    return c.select(QStringLiteral("SELECT id, caption FROM qnd_olap_report_field WHERE report_id=? ORDER BY id"), {report});
}



} // namespace

class TstOlap : public ModalSuite {
    Q_OBJECT
private slots:
    void fieldCollection()
    {
        ModuleSite site;
        cDDXOlapReport r;
        QCOMPARE(r.ReportFieldCount(), 0);
        r.ReportFieldAdd(field(QStringLiteral("Egyetlen")));
        r.ReportFieldDelete(1);
        QCOMPARE(r.ReportFieldCount(), 0);
        QVERIFY(!r.ReportField(1));
        r.ReportFieldAdd(field(QStringLiteral("Új")));
        QCOMPARE(r.ReportField(1)->caption(), QStringLiteral("Új"));
        r.ReportFieldInit();
        for (const char* c : {"A", "B", "C"}) r.ReportFieldAdd(field(QString::fromLatin1(c)));
        r.ReportFieldDelete(2);
        QCOMPARE(captions(r), (QStringList{"A", "C"}));
        // Modify copies every value into the held field, which keeps its status.
        auto edited = field(QStringLiteral("Módosított"));
        edited->set_id(5);
        cDDXOlapReportField* held = r.ReportField(2);
        held->setItemStatus(isLoaded);
        r.ReportFieldModify(2, *edited);
        QCOMPARE(r.ReportField(2), held);
        QCOMPARE(held->caption(), QStringLiteral("Módosított"));
        QCOMPARE(held->id(), 5);
        QCOMPARE(held->ItemStatus(), isLoaded);
    }

    void savesRewriteTheFields()
    {
        ModuleSite site;
        Connection& c = site.db();
        cDDXOlapReport r;
        r.set_caption(QStringLiteral("Próba"));
        r.set_parent_id(1);
        r.set_report_type(cDDXOlapReport::Report);
        for (const char* name : {"Első", "Második", "Harmadik"}) r.ReportFieldAdd(field(QString::fromUtf8(name)));
        QVERIFY(r.SetFinal() && r.CoreUpdate());
        QVERIFY(r.id() >= 1000000);
        auto first = storedFields(c, r.id());
        QCOMPARE(first.size(), 3);
        QCOMPARE(first[2].value(1).toString(), QStringLiteral("Harmadik"));

        // Loaded back in order, saved again: new keys, same order.
        cDDXOlapReport again;
        QVERIFY(again.CoreLoad(r.id()));
        QCOMPARE(captions(again), (QStringList{"Első", "Második", "Harmadik"}));
        again.SetModified();
        QVERIFY(again.SetFinal() && again.CoreUpdate());
        auto second = storedFields(c, r.id());
        QCOMPARE(second.size(), 3);
        QVERIFY(second[0].value(0).toInt() > first[2].value(0).toInt());
        QCOMPARE(second[1].value(1).toString(), QStringLiteral("Második"));

        // Saved as a folder, the old rows stay; no fields saved as a report, none stay.
        again.set_report_type(cDDXOlapReport::Folder);
        again.ReportFieldInit();
        QVERIFY(again.CoreUpdate());
        QCOMPARE(storedFields(c, r.id()).size(), 3);
        again.set_report_type(cDDXOlapReport::Report);
        QVERIFY(again.CoreUpdate());
        QVERIFY(storedFields(c, r.id()).isEmpty());

        // Nothing goes under a report.
        cDDXOlapReport under;
        under.set_caption(QStringLiteral("Alá"));
        under.set_parent_id(r.id());
        QVERIFY(!under.Validate(eDontCheckWarning));
        QCOMPARE(module().errors().Item(1).description(), QStringLiteral("Riport alá nem köthető be könyvtár vagy egy másik riport!"));
    }

    void baseStructureAndKeys()
    {
        ModuleSite site;
        Connection& c = site.db();
        cDDXOlapReport base;
        QVERIFY(base.CoreLoad(2));
        QCOMPARE(base.ReportFieldCount(), 6);
        base.SetModified();
        QVERIFY(!base.Validate(eDontCheckWarning));
        QCOMPARE(module().errors().Item(1).description(), cDDXOlapReport::kBaseReadOnly);
        module().errors().Clear();
        QVERIFY(!base.Delete());
        setSystemEdit(c, true);
        QVERIFY(base.Delete() && base.CoreUpdate());
        QCOMPARE(c.select(QStringLiteral("SELECT del_status FROM qnd_olap_report WHERE id=2")).value(0).value(0).toInt(), 2);
        // The report's fields are not the record's to delete.
        QCOMPARE(storedFields(c, 2).size(), 6);
    }

    void panelCommandsAndTheirOrder()
    {
        TestSite site;
        OLAPReports p;
        p.IAddin_AttachToSite(&site, 0, QString());
        QTreeWidgetItem* root = p.tree_Item->topLevelItem(0);
        QCOMPARE(root->text(0), QStringLiteral("OLAP Riportok"));
        QCOMPARE(p.titleLabel()->text(), QStringLiteral("OLAP Riportok"));
        QVERIFY(p.nodeOf(1)->font(0).bold());
        p.nodeOf(1)->setExpanded(true);
        QVERIFY(!p.nodeOf(2)->font(0).bold());
        QCOMPARE(p.nodeOf(1)->data(0, Qt::UserRole + 3).toString(), QStringLiteral("OPEN_FOLDER"));
        p.nodeOf(1)->setExpanded(false);
        QCOMPARE(p.nodeOf(1)->data(0, Qt::UserRole + 3).toString(), QStringLiteral("CLOSE_FOLDER"));

        // Under a report nothing is created; no form opens.
        p.tree_Item->setCurrentItem(p.nodeOf(2));
        QString said;
        onNextModal([&](QWidget* d) {
            said = dialogText(d);
            clickButton(d, QStringLiteral("OK"));
        });
        p.runCommand(100014);
        QVERIFY(said.contains(QStringLiteral("Riport alá nem köthető be")));

        // A base row is refused before any rights check, also for a user without rights.
        TestSite peterSite(3);
        OLAPReports q;
        q.IAddin_AttachToSite(&peterSite, 0, QString());
        q.nodeOf(1)->setExpanded(true);
        q.tree_Item->setCurrentItem(q.nodeOf(2));
        for (int command : {100016, 100017}) {
            onNextModal([&](QWidget* d) {
                said = dialogText(d);
                clickButton(d, QStringLiteral("OK"));
            });
            q.runCommand(command);
            QVERIFY2(said.contains(cDDXOlapReport::kBaseReadOnly), qPrintable(said));
        }
        // New on the root creates a top-level folder; the rights are asked first.
        onNextModal([&](QWidget* d) {
            said = dialogText(d);
            clickButton(d, QStringLiteral("OK"));
        });
        q.tree_Item->setCurrentItem(q.tree_Item->topLevelItem(0));
        q.runCommand(100014);
        QVERIFY(said.contains(QStringLiteral("Önnek nincs joga")));

        module().takeSite(&site); // admin again
        p.tree_Item->setCurrentItem(root);
        onNextModal([](QWidget* d) {
            auto* f = qobject_cast<frmOlapReportFolder*>(d);
            QVERIFY(f);
            QCOMPARE(f->txt_parent_name->text(), QString());
            f->txt_name->setText(QStringLiteral("Beszerzés"));
            clickButton(f, QStringLiteral("cmd_ok"));
        });
        p.runCommand(100014);
        const int folder = p.SelectedId();
        QCOMPARE(site.db().select(QStringLiteral("SELECT parent_id, report_type FROM qnd_olap_report WHERE id=?"), {folder}).value(0),
                 (QVariantList{0, 0}));
        QVERIFY(p.tree_Item->currentItem()->font(0).bold());

        // Copy: a folder is no source, a report is; paste only on a folder.
        p.tree_Item->setCurrentItem(p.nodeOf(1));
        p.CopyReport();
        QCOMPARE(p.copySource(), -1);
        p.tree_Item->setCurrentItem(p.nodeOf(2));
        p.CopyReport();
        QCOMPARE(p.copySource(), 2);
        p.tree_Item->setCurrentItem(p.nodeOf(3));
        p.PasteReport(); // a report: nothing opens
        p.tree_Item->setCurrentItem(p.nodeOf(folder));
        onNextModal([](QWidget* d) {
            auto* f = qobject_cast<frmOlapReport*>(d);
            QVERIFY(f);
            QCOMPARE(f->txt_parent_name->text(), QStringLiteral("Beszerzés"));
            QCOMPARE(f->rpt_dim->rowCount(), 3);
            clickButton(f, QStringLiteral("cmd_ok"));
        });
        p.PasteReport();
        const int copy = p.SelectedId();
        QVERIFY(copy >= 1000000);
        QCOMPARE(storedFields(site.db(), copy).size(), 6);
        QCOMPARE(storedFields(site.db(), 2).size(), 6);
    }

    void reportForm()
    {
        ModuleSite site;
        Connection& c = site.db();
        cDDXOlapReport r;
        r.set_parent_id(1);
        r.set_report_type(cDDXOlapReport::Report);
        onNextModal([&](QWidget* d) {
            auto* f = qobject_cast<frmOlapReport*>(d);
            QStringList tabs;
            for (int i = 0; i < f->TabControl->count(); ++i) tabs << f->TabControl->tabText(i);
            QCOMPARE(tabs, (QStringList{"Alapadatok", "SQL Forrás", "Dimenziók", "Összesítések", "Előnézet"}));
            QVERIFY(!f->lbl_dim_empty->isHidden() && !f->lbl_fact_empty->isHidden());
            QCOMPARE(f->cbo_chart_type->currentData().toInt(), 1);
            QCOMPARE(f->cbo_chart_type->itemText(0), QStringLiteral("VtChChartType2dArea"));
            // The chart settings are disabled, not cleared.
            f->chk_chart_option_stack_series->setChecked(true);
            f->cbo_chart_type->setCurrentIndex(f->cbo_chart_type->findData(14));
            f->chk_chart_visible->setChecked(false);
            QVERIFY(!f->cbo_chart_type->isEnabled() && !f->chk_chart_option_stack_series->isEnabled());
            // A fact: the formula box follows the algorithm; both messages come together.
            onNextModal([](QWidget* fact) {
                auto* ff = qobject_cast<frmOlapReportFACT*>(fact);
                QCOMPARE(ff->cbo_fact_algorithm->currentText(), QStringLiteral("xfaa_SUM"));
                QVERIFY(!ff->txt_fact_formula->isEnabled());
                ff->cbo_fact_algorithm->setCurrentIndex(ff->cbo_fact_algorithm->findData(4096));
                ff->txt_fact_formula->setText(QStringLiteral("[A] * 2"));
                ff->cbo_fact_algorithm->setCurrentIndex(ff->cbo_fact_algorithm->findData(4101));
                QVERIFY(ff->txt_fact_formula->text().isEmpty() && !ff->txt_fact_formula->isEnabled());
                QStringList both;
                onNextModal([&both](QWidget* list) {
                    both = listedErrors(list);
                    clickButton(list, QStringLiteral("cmdCancel"));
                });
                onNextModal([](QWidget* again) {
                    auto* a = qobject_cast<frmOlapReportFACT*>(again);
                    a->txt_caption->setText(QStringLiteral("Összeg"));
                    a->txt_field_name->setText(QStringLiteral("amount"));
                    clickButton(a, QStringLiteral("cmd_ok"));
                });
                clickButton(ff, QStringLiteral("cmd_ok"));
                QCOMPARE(both, (QStringList{"A felirat megadása kötelező!", "A mező megadása kötelező!"}));
            });
            f->TabControl->setCurrentIndex(3);
            clickButton(f, QStringLiteral("cmdNewFact"));
            QCOMPARE(f->rpt_fact->rowCount(), 1);
            QCOMPARE(f->rpt_fact->item(0, 3)->text(), QStringLiteral("xfam_AVG"));
            QCOMPARE(f->rpt_dim->rowCount(), 0);
            // A dimension with its preselections.
            onNextModal([](QWidget* dim) {
                auto* df = qobject_cast<frmOlapReportDIM*>(dim);
                QCOMPARE(df->cbo_dim_field_type->currentText(), QStringLiteral("xoft_String"));
                QCOMPARE(df->cbo_dim_field_axis->currentText(), QStringLiteral("xda_horizontal"));
                QCOMPARE(df->cbo_dim_order->currentText(), QStringLiteral("Növekvő"));
                df->txt_caption->setText(QStringLiteral("Régió"));
                df->txt_field_name->setText(QStringLiteral("region"));
                df->cbo_dim_field_axis->setCurrentIndex(df->cbo_dim_field_axis->findData(0));
                clickButton(df, QStringLiteral("cmd_ok"));
            });
            f->TabControl->setCurrentIndex(2);
            clickButton(f, QStringLiteral("cmdNew"));
            QCOMPARE(f->rpt_dim->item(0, 4)->text(), QStringLiteral("xda_vertical"));
            // Modify without a selection warns.
            f->rpt_dim->clearSelection();
            onNextModal([](QWidget* w) {
                QVERIFY(dialogText(w).contains(QStringLiteral("Nem választott ki dimenzió!")));
                clickButton(w, QStringLiteral("OK"));
            });
            clickButton(f, QStringLiteral("cmdModify"));
            f->txt_name->setText(QStringLiteral("Átlagár régiónként"));
            f->txt_sql_source->setPlainText(QStringLiteral("SELECT region, amount FROM olap_sample_sales"));
            clickButton(f, QStringLiteral("cmd_ok"));
        });
        QCOMPARE(r.ShowForm(), rvOK);
        QCOMPARE(c.select(QStringLiteral("SELECT chart_visible, chart_type, chart_option_stack_series FROM qnd_olap_report WHERE id=?"),
                          {r.id()}).value(0).value(1).toInt(), 14);
        QCOMPARE(storedFields(c, r.id()).size(), 2);

        // Deleting a field and cancelling leaves the stored fields alone.
        cDDXOlapReport again;
        QVERIFY(again.CoreLoad(r.id()));
        onNextModal([](QWidget* d) {
            auto* f = qobject_cast<frmOlapReport*>(d);
            f->TabControl->setCurrentIndex(2);
            f->rpt_dim->selectRow(0);
            answerNextModal(QStringLiteral("Igen"));
            clickButton(f, QStringLiteral("cmdDelete"));
            QCOMPARE(f->rpt_dim->rowCount(), 0);
            clickButton(f, QStringLiteral("cmd_cancel"));
        });
        again.ShowForm();
        QCOMPARE(storedFields(c, r.id()).size(), 2);
    }

    // The panel's preview saves as the form's preview tab does (the same buttons, the same
    // file), and a long region name is shown whole: wrapped on the chart's axis, on one line
    // in the tooltip over it.
    void panelPreviewExportsAndShowsLongNamesWhole()
    {
        ModuleSite site;
        Connection& c = site.db();
        const QString longName = QStringLiteral("Közép-Magyarországi Tervezési-Statisztikai Régió");
        QVERIFY(c.execute(QStringLiteral("UPDATE olap_sample_sales SET region=? WHERE region=?"), {longName, QStringLiteral("Közép-Magyarország")}));
        QTemporaryDir dir;
        const auto wrapped = [](const QString& lines) { return QStringLiteral("<div align=\"center\">%1</div>").arg(lines); };
        const auto saveAs = [](const QString& path) {
            onNextModal([path](QWidget* d) {
                auto* files = qobject_cast<QFileDialog*>(d);
                QVERIFY(files);
                // Typed into its name box, as a user would.
                files->findChild<QLineEdit*>(QStringLiteral("fileNameEdit"))->setText(path);
                static_cast<QDialog*>(files)->accept();
            });
        };
        OLAPReports p;
        p.IAddin_AttachToSite(&site, 0, QString());
        p.nodeOf(1)->setExpanded(true);
        p.tree_Item->setCurrentItem(p.nodeOf(2));
        onNextModal([&](QWidget* d) {
            auto* preview = d->findChild<Olap::OlapPreview*>();
            QVERIFY(preview && findButton(d, QStringLiteral("cmd_pdf")));
            QTRY_VERIFY(!d->findChild<OlapRunner*>()->running());
            d->resize(900, 650);
            QTest::qWait(100);
            if (!qEnvironmentVariableIsEmpty("NEXO_KEEP_OUTPUT"))
                d->grab().save(QDir(qEnvironmentVariable("NEXO_KEEP_OUTPUT")).filePath(QStringLiteral("olap_panel_preview.png")));
            QChart* chart = preview->chartView()->chart();
            auto* axis = qobject_cast<QBarCategoryAxis*>(chart->axes(Qt::Horizontal).value(0));
            QVERIFY(axis);
            QVERIFY(!axis->labelsTruncated());
            QVERIFY(axis->categories().contains(wrapped(QStringLiteral("Közép-<br>Magyarországi<br>Tervezési-<br>Statisztikai<br>Régió"))));
            QVERIFY(axis->categories().contains(wrapped(QStringLiteral("Észak-<br>Magyarország"))));
            QVERIFY(axis->categories().contains(QStringLiteral("Dél-Alföld")));
            // Hovering the long name's label, below its column.
            const int at = axis->categories().indexOf(wrapped(QStringLiteral("Közép-<br>Magyarországi<br>Tervezési-<br>Statisztikai<br>Régió")));
            const QRectF plot = chart->plotArea();
            const QPoint label = preview->chartView()->mapFromScene(
                chart->mapToScene(QPointF(plot.left() + (at + 0.5) * plot.width() / axis->count(), plot.bottom() + 12)));
            QHelpEvent hover(QEvent::ToolTip, label, preview->chartView()->viewport()->mapToGlobal(label));
            QCoreApplication::sendEvent(preview->chartView()->viewport(), &hover);
            QCOMPARE(QToolTip::text(), longName);
            QCOMPARE(preview->categoryAt(QPoint(1, 1)), QString());
            saveAs(dir.filePath(QStringLiteral("panel.csv")));
            clickButton(d, QStringLiteral("cmd_csv"));
            d->findChild<QDialogButtonBox*>()->button(QDialogButtonBox::Close)->click();
        });
        p.PreviewReport();

        cDDXOlapReport r;
        QVERIFY(r.CoreLoad(2));
        onNextModal([&](QWidget* d) {
            auto* f = qobject_cast<frmOlapReport*>(d);
            f->TabControl->setCurrentIndex(4);
            QTRY_VERIFY(!f->findChild<OlapRunner*>()->running());
            saveAs(dir.filePath(QStringLiteral("form.csv")));
            clickButton(f, QStringLiteral("cmd_csv"));
            clickButton(f, QStringLiteral("cmd_cancel"));
        });
        r.ShowForm();
        QFile panel(dir.filePath(QStringLiteral("panel.csv"))), form(dir.filePath(QStringLiteral("form.csv")));
        QVERIFY(panel.open(QIODevice::ReadOnly) && form.open(QIODevice::ReadOnly));
        const QByteArray bytes = panel.readAll();
        QVERIFY(bytes.contains(longName.toUtf8()));
        QCOMPARE(bytes, form.readAll());
    }

    // A run goes on off the user interface's thread: a second run started meanwhile replaces
    // it (only the second's result comes), and the runner's owner may go while one runs.
    void runsReplacedAndLeftBehind()
    {
        ModuleSite site;
        Connection& c = site.db();
        cDDXOlapReport slow, quick;
        QVERIFY(slow.CoreLoad(2) && quick.CoreLoad(2));
        slow.set_sql_source(QStringLiteral("WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < 50000000) "
                                           "SELECT 'x' AS region, 1 AS sale_year, 'y' AS product, 1 AS quantity, 1.0 AS amount FROM n"));
        auto owner = std::make_unique<QWidget>();
        auto* runner = new OlapRunner(owner.get());
        QList<OlapRun> results;
        connect(runner, &OlapRunner::finished, this, [&](const OlapRun& run) { results << run; });
        runner->start(c, slow);
        QVERIFY(runner->running());
        runner->start(c, quick);
        QTRY_COMPARE_WITH_TIMEOUT(results.size(), 1, 30000);
        QVERIFY2(results[0].ok(), qPrintable(results[0].error));
        QCOMPARE(results[0].result.sourceRows, qint64(3000));
        QTest::qWait(200);
        QCOMPARE(results.size(), 1);

        runner->start(c, slow);
        QVERIFY(runner->running());
        owner.reset(); // the panel's tab closed while it runs
        QTest::qWait(300);
        QCOMPARE(results.size(), 1);
        // The link of the abandoned run is gone soon after; the master lock is free meanwhile.
        QVERIFY(c.transactions().lockMaster(0));
        c.transactions().unlockMaster();
    }

    void reportSqlRunsReadOnly()
    {
        ModuleSite site;
        Connection& c = site.db();
        cDDXOlapReport r;
        QVERIFY(r.CoreLoad(2));
        const OlapRun good = runReport(nullptr, c, r);
        QVERIFY2(good.ok(), qPrintable(good.error));
        QCOMPARE(good.result.sourceRows, qint64(3000));
        QVERIFY(!good.result.rows.isEmpty());
        const int before = c.select(QStringLiteral("SELECT COUNT(*) FROM olap_sample_sales")).value(0).value(0).toInt();
        for (const char* sql : {"DELETE FROM olap_sample_sales", "UPDATE olap_sample_sales SET amount=0",
                                "DROP TABLE olap_sample_sales", "SELECT 1; DELETE FROM olap_sample_sales"}) {
            r.set_sql_source(QString::fromLatin1(sql));
            const OlapRun bad = runReport(nullptr, c, r);
            QVERIFY2(!bad.ok(), sql);
        }
        QCOMPARE(c.select(QStringLiteral("SELECT COUNT(*) FROM olap_sample_sales")).value(0).value(0).toInt(), before);
        QCOMPARE(c.select(QStringLiteral("SELECT SUM(amount) > 0 FROM olap_sample_sales")).value(0).value(0).toBool(), true);
        // Every hostile source as a report's: nothing changes, no file, the master lock free.
        const Hostile::State state = Hostile::stateOf(c);
        for (const Hostile::Source& h : Hostile::sources(testingPostgres())) {
            r.set_sql_source(h.sql);
            runReport(nullptr, c, r);
            QVERIFY2(Hostile::stateOf(c) == state, qPrintable(h.name));
            QVERIFY2(Hostile::masterLockFree(c), qPrintable(h.name));
        }
        // A field that the SQL does not give is named.
        r.set_sql_source(QStringLiteral("SELECT region FROM olap_sample_sales"));
        QVERIFY(runReport(nullptr, c, r).error.contains(QStringLiteral("„sale_year”")));
    }
};

QTEST_MAIN(TstOlap)
#include "tst_olap.moc"
