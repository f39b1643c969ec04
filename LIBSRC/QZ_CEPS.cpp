#include "qzk.h"
