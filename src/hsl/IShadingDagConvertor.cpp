#include "hsl/IShadingDagConvertor.h"

IShadingDagConvertor::~IShadingDagConvertor() = default;
