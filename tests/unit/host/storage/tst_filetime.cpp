// SPDX-License-Identifier: MIT
#include <host/storage/filetime.h>

#include <QFile>
#include <QFileInfo>
#include <QTemporaryDir>
#include <QTest>

using namespace Qt::StringLiterals;

class TestFileTime : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void aFileGetsTheTime_data();
    void aFileGetsTheTime();
    void anotherFileInItsPlaceIsLeftAlone();
    void aLinkInItsPlaceIsLeftAlone();
    void aTimeThatNobodySaidIsNotSet();

private:
    QString make(const QString &name) const;
    static QDateTime timeOf(const QString &path) { return QFileInfo(path).lastModified(); }

    QTemporaryDir m_dir;
    const QDateTime m_time{QDate(2001, 2, 3), QTime(4, 5, 6), Qt::UTC};
};

void TestFileTime::init()
{
    QVERIFY(m_dir.isValid());
}

QString TestFileTime::make(const QString &name) const
{
    QFile file(m_dir.filePath(name));
    return file.open(QIODevice::WriteOnly) && file.write("x") == 1 ? file.fileName() : QString();
}

void TestFileTime::aFileGetsTheTime_data()
{
    QTest::addColumn<QDateTime>("time");
    QTest::newRow("a time of this century") << m_time;
    QTest::newRow("parts of a second") << m_time.addMSecs(250);
    QTest::newRow("before the first second that systems count")
        << QDateTime(QDate(1969, 7, 20), QTime(20, 17), Qt::UTC);
    QTest::newRow("parts of a second before it") << QDateTime(QDate(1969, 7, 20), QTime(20, 17, 0, 750), Qt::UTC);
}

void TestFileTime::aFileGetsTheTime()
{
    QFETCH(QDateTime, time);
    const QString path = make(u"a"_s);
    QVERIFY(FileTime::set(path, FileIdentity::of(path), time));
    QCOMPARE(timeOf(path).toUTC(), time);
}

void TestFileTime::anotherFileInItsPlaceIsLeftAlone()
{
    const QString ours = make(u"ours"_s);
    const QString other = make(u"other"_s);
    const QDateTime before = timeOf(other);
    QVERIFY(!FileTime::set(other, FileIdentity::of(ours), m_time));
    QVERIFY(!FileTime::set(other, {}, m_time));
    QCOMPARE(timeOf(other), before);
}

void TestFileTime::aLinkInItsPlaceIsLeftAlone()
{
    const QString ours = make(u"linked"_s);
    const QDateTime before = timeOf(ours);
    const QString link = m_dir.filePath(u"link"_s);
    QVERIFY(QFile::link(ours, link));
    QVERIFY(!FileTime::set(link, FileIdentity::of(ours), m_time));
    QCOMPARE(timeOf(ours), before);
}

void TestFileTime::aTimeThatNobodySaidIsNotSet()
{
    const QString path = make(u"b"_s);
    QVERIFY(!FileTime::set(path, FileIdentity::of(path), {}));
}

QTEST_GUILESS_MAIN(TestFileTime)
#include "tst_filetime.moc"
