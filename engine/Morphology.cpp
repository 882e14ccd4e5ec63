#include "Morphology.h"
