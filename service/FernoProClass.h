#pragma once

#include <QVariantMap>

/// Process-wide storage that belongs to the host; the library itself reads none of it.
///
/// The instance is made when the library is loaded and lives until releaseThis(). Thread: the
/// pointer has no protection; release it when no other thread uses it.
class Q_DECL_EXPORT FernoProClass
{
public:
    /// The instance, or null after releaseThis() (or if there was no memory at load time).
    static FernoProClass* init();
    static FernoProClass* getThis();
    /// Destroys the instance. A second call does nothing.
    static void releaseThis();

    FernoProClass();

    QVariantMap firstMap;
    qint64 value = 1;
    QVariantMap secondMap;

    static FernoProClass* pFernoProClass;
};
