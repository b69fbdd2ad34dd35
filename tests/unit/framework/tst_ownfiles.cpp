// SPDX-License-Identifier: MIT
#include <inet/qt/download/framework/ownfiles.h>

#include <QFile>
#include <QTemporaryDir>
#include <QTest>

using namespace Qt::StringLiterals;

/// Two downloads whose files have one path, one after the other: what the first takes back is not the second's.
class TestOwnFiles : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void cleanup();
    void whatIsForgottenIsOnlyOnesOwn();
    void aPermissionIsTakenBackByWhoGaveIt();
    void aFileIsKnownUnderWhateverPath();

private:
    FileIdentity fileOf(const QString &name) const;

    QTemporaryDir m_dir;
    const QString m_path = u"/folder/a.bin.part"_s;
};

void TestOwnFiles::cleanup()
{
    OwnFiles::forget(m_path);
}

FileIdentity TestOwnFiles::fileOf(const QString &name) const
{
    QFile file(m_dir.filePath(name));
    return file.open(QIODevice::WriteOnly) ? FileIdentity::of(file.fileName()) : FileIdentity();
}

void TestOwnFiles::whatIsForgottenIsOnlyOnesOwn()
{
    const FileIdentity first = fileOf(u"first"_s);
    const FileIdentity second = fileOf(u"second"_s);
    OwnFiles::set(m_path, second);
    OwnFiles::forget(m_path, first);
    QVERIFY(OwnFiles::isAnyones(second));
    OwnFiles::forget(m_path, second);
    QVERIFY(!OwnFiles::isAnyones(second));
}

void TestOwnFiles::aPermissionIsTakenBackByWhoGaveIt()
{
    const quint64 first = OwnFiles::setPermission(m_path, [] { return true; });
    const quint64 second = OwnFiles::setPermission(m_path, [] { return false; });
    OwnFiles::takeBackPermission(m_path, first);
    QVERIFY(!OwnFiles::mayChange(m_path));
    OwnFiles::takeBackPermission(m_path, second);
    QVERIFY(OwnFiles::mayChange(m_path));
}

void TestOwnFiles::aFileIsKnownUnderWhateverPath()
{
    const FileIdentity file = fileOf(u"file"_s);
    QVERIFY(!OwnFiles::isAnyones(file));
    OwnFiles::set(m_path, file);
    QVERIFY(OwnFiles::isAnyones(file));
    QVERIFY(!OwnFiles::isAnyones({}));
}

QTEST_GUILESS_MAIN(TestOwnFiles)
#include "tst_ownfiles.moc"
