#pragma once

#include <QByteArray>

namespace ky {

/// The file that replaceFile() writes aside; removed again unless it has been renamed.
///
/// It is locked (flock) as long as it is open: that is how clearLeftovers() tells one in the making
/// from one whose writer was killed.
class AsideFile
{
public:
    explicit AsideFile(const QByteArray& folder);
    ~AsideFile();
    AsideFile(const AsideFile&) = delete;
    AsideFile& operator=(const AsideFile&) = delete;

    /// Negative, with the reason in errno, if the folder takes no new file.
    int fd() const { return _fd; }
    bool renameTo(const QByteArray& target);

private:
    QByteArray _path; ///< empty: there is nothing to remove
    int _fd;
};

} // namespace ky
