#include "HostPorts.h"

// The calls of the system's device list that look for serial ports, as its own header declares
// them. A device and an entry of the list are both the port's place, from 1; 0 is their end.

QList<QByteArray>& hostPorts()
{
    static QList<QByteArray> ports;
    return ports;
}

namespace {

using Handle = const char*;
constexpr char kPlaces[64] = {};

Handle at(int place)
{
    return place <= hostPorts().size() ? kPlaces + place : nullptr;
}

const char* nameOf(Handle device)
{
    return hostPorts().at(int(device - kPlaces) - 1).constData();
}

} // namespace

extern "C" {

Q_DECL_EXPORT Handle udev_new()
{
    return kPlaces;
}
Q_DECL_EXPORT Handle udev_unref(Handle)
{
    return nullptr;
}
Q_DECL_EXPORT Handle udev_enumerate_new(Handle)
{
    return kPlaces;
}
Q_DECL_EXPORT Handle udev_enumerate_unref(Handle)
{
    return nullptr;
}
Q_DECL_EXPORT int udev_enumerate_add_match_subsystem(Handle, const char*)
{
    return 0;
}
Q_DECL_EXPORT int udev_enumerate_scan_devices(Handle)
{
    return 0;
}
Q_DECL_EXPORT Handle udev_enumerate_get_list_entry(Handle)
{
    return at(1);
}
Q_DECL_EXPORT Handle udev_list_entry_get_next(Handle entry)
{
    return at(int(entry - kPlaces) + 1);
}
Q_DECL_EXPORT const char* udev_list_entry_get_name(Handle entry)
{
    return entry;
}
Q_DECL_EXPORT Handle udev_device_new_from_syspath(Handle, const char* path)
{
    return path;
}
Q_DECL_EXPORT Handle udev_device_unref(Handle)
{
    return nullptr;
}
Q_DECL_EXPORT Handle udev_device_get_parent(Handle device)
{
    return device;
}
Q_DECL_EXPORT const char* udev_device_get_driver(Handle)
{
    return "ky";
}
Q_DECL_EXPORT const char* udev_device_get_sysname(Handle device)
{
    return nameOf(device);
}
Q_DECL_EXPORT const char* udev_device_get_devnode(Handle device)
{
    return nameOf(device);
}
Q_DECL_EXPORT const char* udev_device_get_property_value(Handle, const char*)
{
    return nullptr;
}

} // extern "C"
