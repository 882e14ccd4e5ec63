#include "ALU.h"
