#include "service/FernoProClass.h"

#include <new>

FernoProClass* FernoProClass::pFernoProClass = new (std::nothrow) FernoProClass;

FernoProClass::FernoProClass() = default;

FernoProClass* FernoProClass::init()
{
    return pFernoProClass;
}

FernoProClass* FernoProClass::getThis()
{
    return pFernoProClass;
}

void FernoProClass::releaseThis()
{
    delete pFernoProClass;
    pFernoProClass = nullptr;
}
