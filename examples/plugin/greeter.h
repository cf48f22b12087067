#pragma once

#include "vesko/component/unknown.h"

/// What the plugin's class offers. Program and plugin share this header and nothing else.
class IGreeter : public Tovra::Component::IUnknown {
public:
    virtual const char* greeting() = 0;
};
