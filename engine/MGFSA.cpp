#include "MGFSA.h"
