#include "Dictionary.h"
