#include "KXEXIFElement.h"

KXEXIFElement::~KXEXIFElement() = default;
