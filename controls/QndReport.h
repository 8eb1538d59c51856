#pragma once
#include "ReportFile.h"
#include "ReportLayout.h"
#include "ReportOutput.h"
#include <QObject>
#include <QPointer>
#include <QString>

class QPagedPaintDevice;
class QWidget;

namespace NexoFrame::Controls {

// A printed report: its query and layout come from a report file (FileName), its company
// header from the RegUser... properties. The host sets the properties by name and calls
// DoReport (a preview with printing and PDF saving) or DoPrint (straight to the default
// printer). A failure is shown in a message box and kept in LastError; ExportPdf shows no
// box, it only answers false.
class QndReport : public QObject {
    Q_OBJECT
    Q_PROPERTY(QObject* DAOConnection READ daoConnection WRITE setDaoConnection)
    Q_PROPERTY(int ReportID MEMBER m_reportId)
    Q_PROPERTY(int ModulID MEMBER m_modulId)
    Q_PROPERTY(QString FileName MEMBER m_fileName)
    Q_PROPERTY(QString ReportName MEMBER m_reportName)
    Q_PROPERTY(QString StringPar1 MEMBER m_stringPar1)
    Q_PROPERTY(QString StringPar2 MEMBER m_stringPar2)
    Q_PROPERTY(QString StringPar3 MEMBER m_stringPar3)
    Q_PROPERTY(QString StringPar4 MEMBER m_stringPar4)
    Q_PROPERTY(QString StringPar5 MEMBER m_stringPar5)
    Q_PROPERTY(QString RegUserNev MEMBER m_nev)
    Q_PROPERTY(QString RegUserTevekenyseg MEMBER m_tevekenyseg)
    Q_PROPERTY(QString RegUserKapcsolattarto MEMBER m_kapcsolattarto)
    Q_PROPERTY(QString RegUserCim MEMBER m_cim)
    Q_PROPERTY(QString RegUserTel MEMBER m_tel)
    Q_PROPERTY(QString RegUserFax MEMBER m_fax)
    Q_PROPERTY(QString RegUserEMAIL MEMBER m_email)
    Q_PROPERTY(QString RegUserWWW MEMBER m_www)
    Q_PROPERTY(QString RegUserBankfiok MEMBER m_bankfiok)
    Q_PROPERTY(QString RegUserSzamlaszam MEMBER m_szamlaszam)
    Q_PROPERTY(QString RegUserAdoszam MEMBER m_adoszam)
    // False: the parameters take their defaults without a dialog.
    Q_PROPERTY(bool AskParameters MEMBER m_askParameters)
    Q_PROPERTY(QString LastError READ lastError)

public:
    explicit QndReport(QObject* parent = nullptr);
    ~QndReport() override;

    QObject* daoConnection() const { return m_connection; }
    void setDaoConnection(QObject* c) { m_connection = c; }
    QString lastError() const { return m_lastError; }

    // Asks the parameters, runs the query and shows the preview.
    Q_INVOKABLE void DoReport();
    // The same on the default printer, without a dialog; a machine without a printer
    // offers a PDF file instead.
    Q_INVOKABLE void DoPrint();
    // The report as a PDF file; only the parameter dialog may come up.
    Q_INVOKABLE bool ExportPdf(const QString& path);

    // Reports alive, for the plugin's can-unload answer.
    static int liveObjects();

private:
    enum class Outcome { Ready, Failed, Cancelled };
    Outcome prepare();
    bool resolveParameters(const QVariantMap& chosen, QVariantMap* values, QVariantMap* shown);
    bool askParameters(QVariantMap* chosen);
    bool writePdf(const QString& path);
    ReportDocument document() const;
    void present(bool preview); // DoReport (a preview) or DoPrint
    void warn(QWidget* parent) const;
    bool fail(const QString& message);
    QString stringPar(int n) const;
    QString title() const;

    QPointer<QObject> m_connection;
    int m_reportId = 0;
    int m_modulId = 0;
    QString m_fileName, m_reportName;
    QString m_stringPar1, m_stringPar2, m_stringPar3, m_stringPar4, m_stringPar5;
    QString m_nev, m_tevekenyseg, m_kapcsolattarto, m_cim, m_tel, m_fax, m_email, m_www, m_bankfiok,
        m_szamlaszam, m_adoszam;
    bool m_askParameters = true;
    QString m_lastError;

    // The prepared report.
    ReportFile m_file;
    ReportRows m_rows;
    ReportHeader m_header;
    // A choice parameter's values and captions, read when the report is prepared.
    QMap<QString, QList<std::pair<QVariant, QString>>> m_choices;
};

} // namespace NexoFrame::Controls
