#include "TextServices.h"
