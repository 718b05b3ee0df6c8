#include "high/High.h"
#include "mid/Mid.h"
#include <low/Low.h>
