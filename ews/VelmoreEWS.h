#pragma once

/// Everything that most programs need, in one include. The rows of properties and fields are thousands of names and
/// stay out: include the family that you use (uVqEWSPropsFLD.h for FLD_ITEM_SUBJECT, uVqEWSPropsPR.h for PR_SUBJECT,
/// and so on).

#include "ews/bulk/uVqEWSBulk.h"
#include "ews/dialogs/uVqEWSAddressbook.h"
#include "ews/dialogs/uVqEWSFolderDialog.h"
#include "ews/events/uVqEWSFolderEvents.h"
#include "ews/idioms/uVqEWSChangeRanges.h"
#include "ews/idioms/uVqEWSFailures.h"
#include "ews/idioms/uVqEWSFilters.h"
#include "ews/idioms/uVqEWSFolderTree.h"
#include "ews/idioms/uVqEWSRanges.h"
#include "ews/items/uVqEWSAttachments.h"
#include "ews/model/uVqEWSFolderInterfaces.h"
#include "ews/model/uVqEWSItemInterfaces.h"
#include "ews/model/uVqEWSRecipients.h"
#include "ews/model/uVqEWSSyncInterfaces.h"
#include "ews/session/uVqEWS.h"
#include "ews/session/uVqEWSProfileFile.h"
#include "ews/session/uVqEWSProfileRegistry.h"
#include "ews/stores/uVqEWSMailboxServices.h"
#include "ews/values/uVqEWSFields.h"
#include "ews/values/uVqEWSProperties.h"
#include "ews/values/uVqEWSStrings.h"
#include "platform/common/uVqDateTimeUtils.h"
#include "platform/common/uVqMainThread.h"
#include "platform/common/uVqStdStreams.h"
#include "platform/os/uVqSafeFileName.h"
#include "platform/soap/uVqSOAPClient.h"
