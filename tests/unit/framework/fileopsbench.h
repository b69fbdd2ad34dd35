// SPDX-License-Identifier: MIT
#pragma once

#include <inet/qt/download/framework/abstractdownloadfileops.h>

#include <QTest>
#include <QThread>

inline AbstractDownloadFileOps::FileInitializeOperation toCreate(const QString &name, qint64 size = -1, int index = 0)
{
    return {index, AbstractDownloadFileOps::FileInitializeOperation::Create, name, size, {}};
}

inline AbstractDownloadFileOps::FileInitializeOperation toFinish(const QString &path, qint64 size = -1, int index = 0)
{
    return {index, AbstractDownloadFileOps::FileInitializeOperation::Finish, path, size, {}};
}

/// File operations and all that they say.
class FileOpsBench
{
public:
    using Ops = AbstractDownloadFileOps;
    using Operation = Ops::FileInitializeOperation;
    using Action = AbstractDownloadFileExistsAction;

    FileOpsBench()
        : ops(new Ops(nullptr))
    {
        QObject::connect(ops, &Ops::performInitializeOpsFinished, &owner,
                         [this](const QString &, const QList<Operation> &list, int count, const AbstractError &e) {
                             ++answers;
                             operations = list;
                             done = count;
                             error = e;
                         });
        QObject::connect(ops, &Ops::fileExistsActionRequired, &owner, [this](int index, const QStringList &paths) {
            askedFor = index;
            inTheWay = paths;
            ++questions;
        });
        QObject::connect(
            ops, &Ops::fileExistsActionApplied, &owner, [this](int index, Action action, const AbstractError &e) {
                applied.append(QStringLiteral("%1 %2 %3 %4").arg(index).arg(int(action)).arg(e.code).arg(answers));
            });
    }
    ~FileOpsBench()
    {
        if (ops->thread() == QThread::currentThread())
            delete ops;
        else
            ops->deleteLater();
        thread.quit();
        thread.wait();
    }

    void perform(const QString &folder, const QList<Operation> &list)
    {
        const int before = answers;
        ops->performInitializeOps(folder, list);
        QTRY_COMPARE(answers, before + 1);
    }
    void ask(const QString &folder, const QList<Operation> &list)
    {
        ops->setExistingFileReaction(AbstractDownloadExistingFileReaction::Ask);
        const int before = questions;
        ops->performInitializeOps(folder, list);
        QTRY_COMPARE(questions, before + 1);
    }
    QString result(int index = 0) const { return operations.value(index).resultPath; }
    QString errorText() const { return QString::fromStdString(error.description); }

    Ops *ops;
    QThread thread;
    QObject owner;
    int answers = 0;
    QList<Operation> operations;
    int done = -1;
    AbstractError error;
    int questions = 0;
    int askedFor = -1;
    QStringList inTheWay;
    QStringList applied; ///< index, action, error code, answers so far
};
