// Umbrella header of the Kestrune library.
#pragma once

#include "kestrune/TZAudioUnitInfo.h"
#include "kestrune/TZLogManager.h"
#include "kestrune/TZMainQueue.h"
#include "kestrune/TZOpusDecoder.h"
#include "kestrune/TZOpusEncoder.h"
#include "kestrune/TZOpusFormat.h"
#include "kestrune/TZOpusRecords.h"
#include "kestrune/TZPcmToWtg.h"
#include "kestrune/TZPlatform.h"
#include "kestrune/TZSpeexDecoder.h"
#include "kestrune/TZSpeexStream.h"
#include "kestrune/TZThreadSafeStack.h"
#include "kestrune/TZTypes.h"
