#include "high/High.h"
#include "mid/Mid.h"
