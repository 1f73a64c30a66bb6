#pragma once

#include "KSTCliContext.h"

/// `kestrel default-apps [set UTI BUNDLE-ID [--yes]]`: file types with the app that opens
/// them and those that could, or choosing another.
int kstRunDefaultAppsCommand(KSTCliContext &context);

/// `kestrel trash-origins`: where each item in the Trash came from and what deleted it.
int kstRunTrashOriginsCommand(KSTCliContext &context);

/// `kestrel home-sizes`: du's size of each standard folder of the home, with the volume's
/// used and total bytes.
int kstRunHomeSizesCommand(KSTCliContext &context);
