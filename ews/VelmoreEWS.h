#pragma once

/// Everything that most programs need, in one include. The rows of properties and fields are thousands of names and stay out: include the family that
/// you use (uVqEWSPropsFLD.h for FLD_ITEM_SUBJECT, uVqEWSPropsPR.h for PR_SUBJECT, and so on).

#include "ews/uVqEWS.h"
#include "ews/uVqEWSAttachments.h"
#include "ews/uVqEWSFields.h"
#include "ews/uVqEWSFolderInterfaces.h"
#include "ews/uVqEWSItemInterfaces.h"
#include "ews/uVqEWSProperties.h"
#include "ews/uVqEWSRecipients.h"
#include "ews/uVqEWSStrings.h"
