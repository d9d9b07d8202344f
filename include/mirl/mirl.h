#pragma once

/// The whole of mirl: images in device memory, and what can be done with them.
#include <mirl/arithmeticLogical.h>
#include <mirl/dataExchange.h>
#include <mirl/device.h>
#include <mirl/image.h>
#include <mirl/io.h>
#include <mirl/records.h>
#include <mirl/scalar.h>
#include <mirl/status.h>
#include <mirl/stream.h>
#include <mirl/timer.h>
#include <mirl/types.h>
