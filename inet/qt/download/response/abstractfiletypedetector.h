// SPDX-License-Identifier: MIT
#pragma once

#include <QString>

/// Tells from a file name alone which broad kind of content the file holds. Stateless; usable from any thread.
class AbstractFileTypeDetector
{
public:
    /// The values are stored in file records and shifted into bit sets there: they do not change.
    enum FileType : int {
        kUnknownFile = 0, ///< no extension, or one that no set holds
        kAudioFile = 1,
        kVideoFile = 2,
        kPictureFile = 3,
        kDocumentFile = 4,
    };

    AbstractFileTypeDetector() = default;

    /// A FileType. Judged by what follows the last "."; a name without any "." is its own extension.
    int typeFromFileName(const QString &fileName) const;
};
