// SPDX-License-Identifier: MIT
#pragma once

#include <tests/support/serverprocess.h>

#include <QByteArrayList>
#include <QUrl>

/// vsftpd, which serves a folder over ftp to anybody, and lets in nobody who has a name.
class VsftpdServer : public ServerProcess
{
public:
    VsftpdServer();

    /// @param rate bytes a second and transfer; 0 = as fast as it goes
    bool start(qint64 rate = 0);
    /// @param path with its first slash
    QUrl url(const QString &path, const QString &userInfo = {}) const;
    /// Puts TestFiles::content(seed, 0, size) into the folder.
    bool addFile(const QString &name, quint64 seed, qint64 size);
    bool addFolder(const QString &name);

    /// What was said to it, in order, as "COMMAND argument".
    QByteArrayList commands() const;
    /// Those of that name.
    QByteArrayList commands(const QByteArray &name) const;

protected:
    QString program() const override;
    QStringList arguments(const QString &configFile) const override;
    QByteArray configurationText() override;

private:
    QString path(const QString &name) const;

    qint64 m_rate = 0;

    Q_DISABLE_COPY_MOVE(VsftpdServer)
};
