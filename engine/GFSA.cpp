#include "GFSA.h"
