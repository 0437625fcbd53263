// SPDX-License-Identifier: MIT
#ifndef ORVEX_ORVEX_H
#define ORVEX_ORVEX_H

// clang-format off: in the order in which the rooms lean on each other
#include <ORVEX/Err.h>

#include <ORVEX/Allocator.h>
#include <ORVEX/Array.h>
#include <ORVEX/AutoPointer.h>
#include <ORVEX/List.h>
#include <ORVEX/Vector.h>

#include <ORVEX/Clock.h>
#include <ORVEX/Mutex.h>
#include <ORVEX/SleepWakeup.h>
#include <ORVEX/Thread.h>

#include <ORVEX/Buffer.h>
#include <ORVEX/Stream.h>

#include <ORVEX/Char.h>
#include <ORVEX/String.h>

#include <ORVEX/CRC.h>
#include <ORVEX/Nmpi.h>

#include <ORVEX/File.h>
#include <ORVEX/FileList.h>

#include <ORVEX/Socket.h>

#include <ORVEX/Bitmap.h>
#include <ORVEX/Color.h>
#include <ORVEX/Font.h>
#include <ORVEX/Point.h>
#include <ORVEX/Rect.h>

#include <ORVEX/Ping.h>
#include <ORVEX/Png.h>
// clang-format on

#endif
