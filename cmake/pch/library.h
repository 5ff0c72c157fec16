// What most files of the library and the programs include, precompiled. A file names what it uses
// all the same: not every build has this.
#include <QByteArray>
#include <QDateTime>
#include <QDebug>
#include <QFile>
#include <QLoggingCategory>
#include <QMap>
#include <QMutex>
#include <QObject>
#include <QString>
#include <QStringList>
#include <QThread>
#include <QTimer>
#include <QVariant>

#include <algorithm>
#include <functional>
#include <memory>
#include <optional>
#include <vector>
