// SPDX-License-Identifier: MIT
#include <cli/listcare.h>
#include <host/storage/downloadlist.h>
#include <host/storage/sqldatabase.h>

#include <QDir>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTemporaryDir>
#include <QTest>
#include <QTextStream>

#include <memory>

using namespace Qt::StringLiterals;

/// What people and programs hear of a list that is looked at or repaired.
class TestListCare : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void aWholeListIsSaidToBe();
    void whatIsWrongIsSaidAndWhatToDo();
    void ofAnotherFileItIsSaidHowToBringItOver();
    void aListThatWasSetAsideIsNotSetAsideOnceMore();
    void programsHearTheSame();
    void whatCannotBeLookedAtIsAComplaint_data();
    void whatCannotBeLookedAtIsAComplaint();
    void withoutAHomeFolderThereIsNoList();
    void aWholeListIsNotRepaired();
    void whatWasBroughtOverIsSaid();
    void whatIsLostIsSaidAndIsAStatus();
    void programsHearWhatIsLost();

private:
    using Care = ExitStatus (*)(const Arguments &, QTextStream &, QTextStream &);

    QString path() const { return m_dir->filePath(u"a.sqlite"_s); }
    bool makeList(int count) const;
    bool change(const QStringList &statements) const;
    /// Of four downloads, the second and third of which cannot be read.
    bool makeDamagedList() const
    {
        return makeList(4)
            && change({u"UPDATE sqlite_master SET sql = replace(sql, 'STRICT', '') WHERE name = 'downloads'"_s,
                       u"UPDATE downloads SET flags = 'all' WHERE id IN (2, 3)"_s});
    }
    ExitStatus run(Care care);
    QJsonObject object() const { return QJsonDocument::fromJson(m_answers.toUtf8()).object(); }

    std::unique_ptr<QTemporaryDir> m_dir;
    Arguments m_arguments;
    QString m_answers;
    QString m_notes;
};

void TestListCare::init()
{
    m_dir = std::make_unique<QTemporaryDir>();
    m_arguments = Arguments();
    m_arguments.session.listPath = path();
}

bool TestListCare::makeList(int count) const
{
    DownloadList list;
    bool isMade = list.open(path());
    for (int i = 1; i <= count && isMade; ++i) {
        AbstractDownloadPersistentInfo record;
        record.url = QUrl(u"http://h/%1"_s.arg(i));
        isMade = list.insert(record) == i;
    }
    return isMade;
}

/// Of the tables' descriptions, too: each in a connection of its own, which reads them anew.
bool TestListCare::change(const QStringList &statements) const
{
    bool isDone = true;
    for (const QString &statement : statements) {
        SqlDatabase database;
        isDone = isDone && database.open(path()) && database.run(u"PRAGMA writable_schema = ON"_s)
            && database.run(statement);
    }
    return isDone;
}

ExitStatus TestListCare::run(Care care)
{
    m_answers.clear();
    m_notes.clear();
    QTextStream answers(&m_answers);
    QTextStream notes(&m_notes);
    return care(m_arguments, answers, notes);
}

void TestListCare::aWholeListIsSaidToBe()
{
    QVERIFY(makeList(2));
    QCOMPARE(run(&ListCare::check), ExitStatus::Done);
    QCOMPARE(m_answers, u"the list \"%1\" is whole; downloads: 2\n"_s.arg(path()));
    QVERIFY(m_notes.isEmpty());
}

void TestListCare::whatIsWrongIsSaidAndWhatToDo()
{
    QVERIFY(makeList(1) && change({u"DROP TABLE cookies"_s, u"DROP TABLE mirrors"_s}));
    QVERIFY(run(&ListCare::check) != ExitStatus::Done);
    const QStringList lines = m_answers.split(u'\n');
    QCOMPARE(lines.size(), 4);
    QVERIFY2(lines.at(0).contains(u"is missing"_s) && lines.at(1).contains(u"is missing"_s), qPrintable(m_answers));
    QCOMPARE(
        lines.at(2),
        u"the list \"%1\" is damaged. Run \"plait list --repair\" to bring over what can be read of it."_s.arg(path()));
    QVERIFY(m_notes.isEmpty());
}

void TestListCare::ofAnotherFileItIsSaidHowToBringItOver()
{
    QVERIFY(makeList(1) && change({u"DROP TABLE cookies"_s}));
    m_arguments.session.listPath = m_dir->filePath(u"whole.sqlite"_s);
    m_arguments.setAsideList = path();
    QVERIFY(run(&ListCare::check) != ExitStatus::Done);
    QVERIFY2(m_answers.contains(u"\"%1\" is damaged. Run \"plait list --repair %1\""_s.arg(path())),
             qPrintable(m_answers));
}

void TestListCare::aListThatWasSetAsideIsNotSetAsideOnceMore()
{
    QVERIFY(makeList(1) && change({u"DROP TABLE cookies"_s}));
    const QString aside = path() + u".damaged-20261122-130501"_s;
    QVERIFY(QFile::rename(path(), aside));
    m_arguments.session.listPath = aside;
    QVERIFY(run(&ListCare::repair) != ExitStatus::Done);
    QVERIFY2(m_notes.contains(u"plait list --repair %1 --list %2"_s.arg(aside, path())), qPrintable(m_notes));
    QVERIFY(QFile::exists(aside) && !QFile::exists(path()));
}

void TestListCare::programsHearTheSame()
{
    m_arguments.json = true;
    QVERIFY(makeList(2));
    QCOMPARE(run(&ListCare::check), ExitStatus::Done);
    QCOMPARE(object(),
             (QJsonObject{
                 {u"event"_s, u"check"_s}, {u"list"_s, path()}, {u"downloads"_s, 2}, {u"problems"_s, QJsonArray()}}));
    QVERIFY(change({u"DROP TABLE cookies"_s}));
    QVERIFY(run(&ListCare::check) != ExitStatus::Done);
    QCOMPARE(object().value("problems"_L1).toArray().size(), 1);
}

void TestListCare::whatCannotBeLookedAtIsAComplaint_data()
{
    QTest::addColumn<bool>("isFolder");
    QTest::addColumn<QString>("part");
    QTest::newRow("nothing is there") << false << u"there is no such file"_s;
    QTest::newRow("a folder") << true << u"a folder"_s;
}

void TestListCare::whatCannotBeLookedAtIsAComplaint()
{
    QFETCH(bool, isFolder);
    QFETCH(QString, part);
    QVERIFY(!isFolder || QDir().mkdir(path()));
    m_arguments.json = true;
    QVERIFY(run(&ListCare::check) != ExitStatus::Done);
    QVERIFY2(m_notes.startsWith(u"plait: "_s) && m_notes.contains(part) && m_notes.count(u'\n') == 1,
             qPrintable(m_notes));
    QVERIFY(m_answers.isEmpty());
}

void TestListCare::withoutAHomeFolderThereIsNoList()
{
    const QByteArray home = qgetenv("HOME");
    qunsetenv("HOME");
    qunsetenv("XDG_DATA_HOME");
    m_arguments.session.listPath.clear();
    for (const Care care : {&ListCare::check, &ListCare::repair}) {
        const ExitStatus status = run(care);
        QVERIFY(status != ExitStatus::Done && m_answers.isEmpty());
        QCOMPARE(m_notes, u"plait: there is no home folder to keep a list in. Name its file with --list.\n"_s);
    }
    qputenv("HOME", home);
}

void TestListCare::aWholeListIsNotRepaired()
{
    QVERIFY(makeList(1));
    QCOMPARE(run(&ListCare::repair), ExitStatus::Done);
    QCOMPARE(m_answers, u"the list \"%1\" is whole; there is nothing to repair\n"_s.arg(path()));
}

void TestListCare::whatWasBroughtOverIsSaid()
{
    QVERIFY(makeList(3) && change({u"DROP TABLE cookies"_s}));
    QCOMPARE(run(&ListCare::repair), ExitStatus::Done);
    const QString line = m_answers.section(u'\n', 0, 0);
    QVERIFY2(line.startsWith(u"brought over from \"%1.damaged-"_s.arg(path()))
                 && line.endsWith(u"\", which is kept, into \"%1\": 3; there already: 0"_s.arg(path())),
             qPrintable(m_answers));
    QVERIFY2(!m_answers.contains(u"not brought over"_s), qPrintable(m_answers));
}

void TestListCare::whatIsLostIsSaidAndIsAStatus()
{
    QVERIFY(makeDamagedList());
    QVERIFY(run(&ListCare::repair) != ExitStatus::Done);
    QVERIFY2(m_answers.contains(u"\nnot brought over: 2–3 ("_s), qPrintable(m_answers));
    QVERIFY2(m_answers.contains(u": 2; there already: 0\n"_s), qPrintable(m_answers));
}

void TestListCare::programsHearWhatIsLost()
{
    m_arguments.json = true;
    QVERIFY(makeDamagedList());
    QVERIFY(run(&ListCare::repair) != ExitStatus::Done);
    const QJsonObject told = object();
    QCOMPARE(told.value("event"_L1), QJsonValue(u"repair"_s));
    QCOMPARE(told.value("list"_L1), QJsonValue(path()));
    QVERIFY(told.value("from"_L1).toString().startsWith(path() + ".damaged-"_L1));
    QCOMPARE(told.value("brought"_L1), QJsonValue(2));
    QCOMPARE(told.value("lost"_L1), QJsonValue(QJsonArray{2, 3}));
}

QTEST_GUILESS_MAIN(TestListCare)
#include "tst_listcare.moc"
