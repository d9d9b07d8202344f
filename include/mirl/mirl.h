#pragma once

/// The whole of mirl: images in device memory, and what can be done with them.
#include <mirl/arithmeticLogical.h>
#include <mirl/colorEnhancement.h>
#include <mirl/colorOperations.h>
#include <mirl/computerVision.h>
#include <mirl/dataExchange.h>
#include <mirl/device.h>
#include <mirl/filter.h>
#include <mirl/geometryTransforms.h>
#include <mirl/histogram.h>
#include <mirl/image.h>
#include <mirl/imageFiltering.h>
#include <mirl/imageStatistics.h>
#include <mirl/imageTransforms.h>
#include <mirl/io.h>
#include <mirl/operators.h>
#include <mirl/packedVideo.h>
#include <mirl/pyramid.h>
#include <mirl/records.h>
#include <mirl/scalar.h>
#include <mirl/sensorCorrections.h>
#include <mirl/status.h>
#include <mirl/stream.h>
#include <mirl/timer.h>
#include <mirl/types.h>
