// SPDX-License-Identifier: MIT
#pragma once

#include <inet/qt/download/records/downloadenums.h>

#include <QMetaType>

/// The host's settings of one download that are not part of its record.
struct AbstractDownloadSettings {
    /// What happens when the target file exists already and the record has no reaction of its own.
    AbstractDownloadExistingFileReaction existingFileReaction = AbstractDownloadExistingFileReaction::Rename;

    friend bool operator==(const AbstractDownloadSettings &, const AbstractDownloadSettings &) = default;
};
Q_DECLARE_METATYPE(AbstractDownloadSettings)
