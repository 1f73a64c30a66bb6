#pragma once

#include "KSTCliContext.h"

int kstRunDuplicatesLinkCommand(KSTCliContext &context);
