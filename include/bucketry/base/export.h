// SPDX-License-Identifier: Apache-2.0
#pragma once

/// Marks what the shared object shows to its users; everything else stays hidden.
#define BUCKETRY_API __attribute__((visibility("default")))
