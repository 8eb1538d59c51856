#include "ReadOnlySource.h"
#include "SettingKeys.h"
#include "TestDatabase.h"
#include "TwoStep.h"
#include "TwoStepTesting.h"
#include <QUrlQuery>
#include <QtTest>

using namespace NexoFrame;

namespace {

int userId(Connection& c, const char* name)
{
    return c.select(QStringLiteral("SELECT id FROM qnd_user WHERE user_name = ?"), {QString::fromLatin1(name)}).value(0).value(0).toInt();
}

// A fixed moment on a step's first second, so that a step either side is exactly 30 s away.
const QDateTime kNow = QDateTime::fromSecsSinceEpoch(1795500000 - 1795500000 % TwoStep::kStepSeconds, Qt::UTC);

} // namespace

class tst_twostep : public QObject {
    Q_OBJECT
private slots:
    void init();
    void cleanup();
    void codesOfOneStepEitherSideOnceEach();
    void recoveryCodesAreSpent();
    void hostileCodesAreRefused();
    void whoMustUseIt();
    void secretsStayHidden();

private:
    QByteArray enrolAt(int user, const QDateTime& at, QStringList* codes = nullptr);

    std::unique_ptr<TestDatabase> m_db;
    std::unique_ptr<Connection> m_c;
};

void tst_twostep::init()
{
    m_db = std::make_unique<TestDatabase>();
    m_c = m_db->open();
}

void tst_twostep::cleanup()
{
    m_c.reset();
    m_db.reset();
}

QByteArray tst_twostep::enrolAt(int user, const QDateTime& at, QStringList* codes)
{
    const QByteArray secret = TwoStep::newSecret();
    QString error;
    const QStringList made = TwoStep::enrol(*m_c, user, secret, oathCode(secret, at), at, &error);
    if (made.isEmpty()) qFatal("enrolment failed: %s", qPrintable(error));
    if (codes) *codes = made;
    return secret;
}

// The app's clock may be a step off either way; two steps is another code. Each code is
// taken once, and an older one after a newer one is a replay too.
void tst_twostep::codesOfOneStepEitherSideOnceEach()
{
    const int admin = userId(*m_c, "admin");
    QCOMPARE(TwoStep::need(*m_c, admin), TwoStep::Need::None);
    const QByteArray secret = enrolAt(admin, kNow.addSecs(-600));
    QCOMPARE(twoStepHistoryRows(*m_c, admin, "1"), 1);
    QCOMPARE(TwoStep::need(*m_c, admin), TwoStep::Need::Code);
    QVERIFY(TwoStep::enrolledUsers(*m_c).contains(admin));

    const auto at = [&](int steps) { return oathCode(secret, kNow.addSecs(steps * TwoStep::kStepSeconds)); };
    QCOMPARE(TwoStep::verify(*m_c, admin, at(-2), kNow).status, TwoStep::Check::Status::Wrong);
    QCOMPARE(TwoStep::verify(*m_c, admin, at(2), kNow).status, TwoStep::Check::Status::Wrong);
    QVERIFY(TwoStep::verify(*m_c, admin, at(2), kNow).counts());
    QVERIFY(TwoStep::verify(*m_c, admin, at(-1), kNow).ok());
    QVERIFY(TwoStep::verify(*m_c, admin, at(0), kNow).ok());
    const TwoStep::Check replay = TwoStep::verify(*m_c, admin, at(0), kNow);
    QCOMPARE(replay.status, TwoStep::Check::Status::Replayed);
    QVERIFY(replay.counts());
    QVERIFY(!replay.message.isEmpty());
    const QString late = at(1);
    // "123 456", as the apps show it.
    QVERIFY(TwoStep::verify(*m_c, admin, late.left(3) + QLatin1Char(' ') + late.mid(3), kNow).ok());
    QCOMPARE(TwoStep::verify(*m_c, admin, at(0), kNow.addSecs(30)).status, TwoStep::Check::Status::Replayed);

    // A code from another user's secret is no code of his.
    const int anna = userId(*m_c, "kovacs.anna");
    enrolAt(anna, kNow.addSecs(-600));
    QCOMPARE(TwoStep::verify(*m_c, anna, oathCode(secret, kNow.addSecs(300)), kNow.addSecs(300)).status,
             TwoStep::Check::Status::Wrong);

    // The enrolment itself wants a current code of the new secret.
    QString error;
    const QByteArray other = TwoStep::newSecret();
    QVERIFY(TwoStep::enrol(*m_c, admin, other, oathCode(other, kNow.addSecs(-120)), kNow, &error).isEmpty());
    QVERIFY(!error.isEmpty());

    QVERIFY2(TwoStep::remove(*m_c, admin, &error), qPrintable(error));
    QCOMPARE(twoStepHistoryRows(*m_c, admin, "0"), 1);
    QCOMPARE(TwoStep::need(*m_c, admin), TwoStep::Need::None);
    QCOMPARE(TwoStep::verify(*m_c, admin, at(3), kNow.addSecs(90)).status, TwoStep::Check::Status::NotEnrolled);
    QVERIFY(!TwoStep::remove(*m_c, admin, &error));
}

// Ten codes shown once, each good for one login, typed in any case with or without dashes;
// a new enrolment makes the old ones worthless.
void tst_twostep::recoveryCodesAreSpent()
{
    const int admin = userId(*m_c, "admin");
    QStringList codes;
    enrolAt(admin, kNow, &codes);
    QCOMPARE(codes.size(), TwoStep::kRecoveryCodes);
    QCOMPARE(QSet<QString>(codes.cbegin(), codes.cend()).size(), TwoStep::kRecoveryCodes);
    QVERIFY(QRegularExpression(QStringLiteral("^[A-Z2-9]{4}(-[A-Z2-9]{4}){3}$")).match(codes[0]).hasMatch());

    const TwoStep::Check first = TwoStep::verify(*m_c, admin, codes[0], kNow);
    QVERIFY2(first.ok(), qPrintable(first.message));
    QVERIFY(first.recoveryUsed);
    QCOMPARE(first.recoveryLeft, TwoStep::kRecoveryCodes - 1);
    QCOMPARE(TwoStep::verify(*m_c, admin, codes[0], kNow).status, TwoStep::Check::Status::Wrong);
    QVERIFY(TwoStep::verify(*m_c, admin, codes[1].toLower().remove(QLatin1Char('-')), kNow).ok());
    // Right id, wrong rest.
    QString forged = codes[2];
    forged[forged.size() - 1] = forged.endsWith(QLatin1Char('A')) ? QLatin1Char('B') : QLatin1Char('A');
    QCOMPARE(TwoStep::verify(*m_c, admin, forged, kNow).status, TwoStep::Check::Status::Wrong);

    enrolAt(admin, kNow.addSecs(60));
    QCOMPARE(TwoStep::verify(*m_c, admin, codes[3], kNow).status, TwoStep::Check::Status::Wrong);
}

void tst_twostep::hostileCodesAreRefused()
{
    const int admin = userId(*m_c, "admin");
    enrolAt(admin, kNow);
    const QStringList hostile{QStringLiteral("abcdef"), QString(10000, QLatin1Char('7')), QStringLiteral("      "), QString(),
                              QStringLiteral("12345"), QStringLiteral("1234567"), QStringLiteral("12345x"),
                              QStringLiteral("' OR 1=1 --"), QStringLiteral("１２３４５６")};
    for (const QString& typed : hostile) {
        const TwoStep::Check r = TwoStep::verify(*m_c, admin, typed, kNow);
        QVERIFY2(r.status == TwoStep::Check::Status::Malformed, qPrintable(typed.left(20)));
        QVERIFY(!r.counts());
        QVERIFY(!r.message.isEmpty());
    }
}

// A group may require it of its members, the setting of everyone who administers: those who
// change users or groups, and those whose menu sets roles.
void tst_twostep::whoMustUseIt()
{
    const int admin = userId(*m_c, "admin"), anna = userId(*m_c, "kovacs.anna"), peter = userId(*m_c, "nagy.peter");
    QVERIFY(TwoStep::administers(*m_c, admin));
    QVERIFY(TwoStep::administers(*m_c, anna));
    QVERIFY(!TwoStep::administers(*m_c, peter));
    QCOMPARE(TwoStep::need(*m_c, admin), TwoStep::Need::None);

    // A group by its slots alone, as the rights explorer asks of it.
    const auto groupOf = [this](int user) {
        return m_c->select(QStringLiteral("SELECT user_group_id FROM qnd_user WHERE id = ?"), {user}).value(0).value(0).toInt();
    };
    QVERIFY(TwoStep::groupAdministers(*m_c, groupOf(admin)));
    QVERIFY(!TwoStep::groupAdministers(*m_c, groupOf(peter)));
    QCOMPARE(TwoStep::groupRequiresBecause(*m_c, groupOf(admin)), QString());

    QVERIFY(m_c->settings().write(SettingKeys::kMainframe, SettingKeys::kTwoStepForAdmins, QStringLiteral("1")));
    QCOMPARE(TwoStep::need(*m_c, admin), TwoStep::Need::Enrol);
    QCOMPARE(TwoStep::need(*m_c, anna), TwoStep::Need::Enrol);
    QCOMPARE(TwoStep::need(*m_c, peter), TwoStep::Need::None);
    QCOMPARE(TwoStep::groupRequiresBecause(*m_c, groupOf(admin)), TwoStep::requiredBecause(*m_c, admin));
    QCOMPARE(TwoStep::groupRequiresBecause(*m_c, groupOf(peter)), QString());
    QVERIFY(m_c->settings().write(SettingKeys::kMainframe, SettingKeys::kTwoStepForAdmins, QStringLiteral("0")));

    QVERIFY(m_c->execute(QStringLiteral("UPDATE qnd_user_group SET two_step = %1 WHERE id = (SELECT user_group_id FROM qnd_user WHERE id = ?)")
                             .arg(m_c->boolLiteral(true)),
                         {peter}));
    QCOMPARE(TwoStep::need(*m_c, peter), TwoStep::Need::Enrol);
    QVERIFY(TwoStep::requiredBecause(*m_c, peter).contains(QStringLiteral("csoport")));
    QCOMPARE(TwoStep::groupRequiresBecause(*m_c, groupOf(peter)), QStringLiteral("a csoport megköveteli"));
    enrolAt(peter, kNow);
    QCOMPARE(TwoStep::need(*m_c, peter), TwoStep::Need::Code);

    // The app's name for it: issuer, user and installation, the secret as typed.
    const QByteArray secret = TwoStep::newSecret();
    const QUrl uri(TwoStep::otpauthUri(secret, QStringLiteral("kovács.anna"), TwoStep::installationName(*m_c)));
    QCOMPARE(uri.scheme(), QStringLiteral("otpauth"));
    QCOMPARE(uri.host(), QStringLiteral("totp"));
    QVERIFY(uri.path().startsWith(QStringLiteral("/NexoFrame:kovács.anna")));
    QCOMPARE(QUrlQuery(uri).queryItemValue(QStringLiteral("secret")), TwoStep::base32(secret));
    QCOMPARE(QUrlQuery(uri).queryItemValue(QStringLiteral("issuer")), QStringLiteral("NexoFrame"));
}

// Neither the secret nor the recovery codes are stored as they are shown, and no SQL that
// users write reads either table.
void tst_twostep::secretsStayHidden()
{
    const int admin = userId(*m_c, "admin");
    QStringList codes;
    const QByteArray secret = enrolAt(admin, kNow, &codes);
    const auto stored = m_c->select(QStringLiteral("SELECT secret FROM qnd_two_step"));
    QCOMPARE(stored.size(), 1);
    QVERIFY(!stored[0].value(0).toString().contains(TwoStep::base32(secret)));
    for (const QVariantList& r : m_c->select(QStringLiteral("SELECT code_id, hash FROM qnd_recovery_code"))) {
        QVERIFY(r.value(1).toString().startsWith(QStringLiteral("$argon2id$")));
        for (const QString& code : codes) QVERIFY(!r.value(1).toString().contains(QString(code).remove(QLatin1Char('-'))));
    }

    m_db->makeReader();
    QString error;
    auto reader = ReadOnlySource::open(*m_c, &error);
    QVERIFY2(reader, qPrintable(error));
    for (const char* sql : {"SELECT secret FROM qnd_two_step", "SELECT hash FROM qnd_recovery_code",
                            "SELECT COUNT(*) FROM qnd_two_step"}) {
        QList<QVariantList> rows;
        const bool ran = reader->run(QString::fromLatin1(sql), nullptr, [&](const QVariantList& r) {
            rows << r;
            return true;
        }, &error);
        QVERIFY2(!ran, sql);
        QVERIFY(rows.isEmpty());
    }
}

QTEST_GUILESS_MAIN(tst_twostep)
#include "tst_twostep.moc"
