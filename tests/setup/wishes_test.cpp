#include "setup/wishes.h"
