#pragma once

#include <linux/can.h>

/// A frame as every carrier of CanDevice and SocketCan has it: the kernel's `struct can_frame`, 16
/// bytes, read and written whole. `can_id` holds the identifier in bits 0 to 28; bit 30 marks a
/// remote frame, bit 31 an extended one. `can_dlc` is the length code, `data` has 8 bytes.
///
/// For whoever is at the other end of a carrier. The ports themselves take and give frames as maps.
using CanFrame = can_frame;

static_assert(sizeof(CanFrame) == 16 && sizeof(CanFrame::data) == 8,
              "the frame is that of a classic CAN bus");
