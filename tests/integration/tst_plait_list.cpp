// SPDX-License-Identifier: MIT
#include <tests/integration/plaitsandbox.h>
#include <tests/integration/realservers.h>
#include <tests/support/testfiles.h>

#include <QDir>
#include <QFile>
#include <QSqlDatabase>
#include <QSqlQuery>
#include <QTest>

using namespace Qt::StringLiterals;

namespace
{

constexpr quint64 kSeed = 77;
constexpr qint64 kSize = 400000;
constexpr int kFiles = 12;

QString nameOf(int index)
{
    return u"file%1.bin"_s.arg(index);
}

QVariant valueIn(const QString &list, const QString &statement)
{
    QVariant value;
    {
        QSqlDatabase database = QSqlDatabase::addDatabase(u"QSQLITE"_s, list);
        database.setDatabaseName(list);
        QSqlQuery query(database);
        if (database.open() && query.exec(statement) && query.next())
            value = query.value(0);
    }
    QSqlDatabase::removeDatabase(list);
    return value;
}

}

/// Several processes at work on one list.
class TestPlaitList : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void twoProcessesUseOneListAtOnce();

private:
    RealServers m_servers;
};

void TestPlaitList::initTestCase()
{
    QVERIFY2(m_servers.start(), qPrintable(m_servers.errorText()));
    for (int i = 0; i < kFiles; ++i)
        QVERIFY(m_servers.addFile(nameOf(i), kSeed + quint64(i), kSize));
}

void TestPlaitList::twoProcessesUseOneListAtOnce()
{
    PlaitSandbox first;
    PlaitSandbox second;
    // The second one's list is the first one's.
    QVERIFY(QDir().rmdir(second.dataHome()));
    QVERIFY(QFile::link(first.dataHome(), second.dataHome()));
    QStringList urls[2];
    for (int i = 0; i < kFiles; ++i)
        urls[i % 2].append(m_servers.nginx().url(u"/rate/300k/"_s + nameOf(i)).toString());
    first.start(urls[0]);
    second.start(urls[1]);
    for (PlaitSandbox *sandbox : {&first, &second}) {
        const PlaitResult result = sandbox->finish();
        QVERIFY2(result.status == 0, result.err.constData());
        QVERIFY2(!result.err.contains("the list"), result.err.constData());
    }
    for (int i = 0; i < kFiles; ++i) {
        const PlaitSandbox &sandbox = i % 2 == 0 ? first : second;
        QCOMPARE(TestFiles::sha256OfFile(sandbox.path(nameOf(i))),
                 TestFiles::sha256OfContent(kSeed + quint64(i), kSize));
    }
    const QString list = first.dataHome() + "/plait/downloads.sqlite"_L1;
    QCOMPARE(valueIn(list, u"SELECT count(*) FROM downloads WHERE finished = 1 AND owner_pid IS NULL"_s).toInt(), kFiles);
    QCOMPARE(valueIn(list, u"PRAGMA integrity_check"_s).toString(), u"ok"_s);
}

QTEST_GUILESS_MAIN(TestPlaitList)
#include "tst_plait_list.moc"
