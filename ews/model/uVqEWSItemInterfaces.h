#pragma once

/// Items of every kind and their attachments, as the application sees them: one header for each kind.

#include "ews/model/uVqEWSAttachmentInterfaces.h"
#include "ews/model/uVqEWSBaseItemInterfaces.h"
#include "ews/model/uVqEWSCalendarInterfaces.h"
#include "ews/model/uVqEWSContactInterfaces.h"
#include "ews/model/uVqEWSMessageInterfaces.h"
#include "ews/model/uVqEWSTaskInterfaces.h"
