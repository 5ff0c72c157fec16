// What most test programs include, precompiled.
#include "library.h"

#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QTcpServer>
#include <QTcpSocket>
#include <QTemporaryDir>
#include <QtTest>
