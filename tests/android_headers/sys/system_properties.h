// SPDX-License-Identifier: Apache-2.0
// No package has the genuine header; the one of properties needs this part of it.
#pragma once
#define PROP_VALUE_MAX 92
