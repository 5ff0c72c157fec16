#include "host/BaseObject.h"

BaseObject::BaseObject(QObject* parent)
    : QObject(parent)
{}

BaseObject::~BaseObject() = default;

QString BaseObject::getLastError() const
{
    return _lastError;
}

void BaseObject::setLastError(const QString& text)
{
    _lastError = text;
}
