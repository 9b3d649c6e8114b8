// SPDX-License-Identifier: Apache-2.0
// The genuine header is in no package; the one of properties needs this much of it.
#pragma once
#define PROP_VALUE_MAX 92
