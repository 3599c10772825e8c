// The sizes of the property service, which cutils/properties.h asks of the C library.
#pragma once

#define PROP_NAME_MAX 32
#define PROP_VALUE_MAX 92
