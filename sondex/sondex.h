#pragma once

/// Everything of the front door.
#include "sondex/Boxes.h"
#include "sondex/Carry.h"
#include "sondex/Edit.h"
#include "sondex/Facts.h"
#include "sondex/Frame.h"
#include "sondex/Json.h"
#include "sondex/Motion.h"
#include "sondex/Movie.h"
#include "sondex/NewFile.h"
#include "sondex/Process.h"
#include "sondex/Read.h"
#include "sondex/Result.h"
