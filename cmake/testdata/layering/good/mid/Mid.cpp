#include "../low/Low.h"
#include "mid/Mid.h"
