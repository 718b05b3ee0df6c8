#include "high/High.h"
