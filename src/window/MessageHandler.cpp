#include "window/MessageHandler.h"

// Here, so that the virtual table lives in the library alone.
MessageHandler::~MessageHandler() = default;
