// Layouts, e-maps and geo-maps.
#include "upgrader/migrations/migrations.h"
#include "upgrader/migrations/not_settled.h"
#include "upgrader/once.h"

namespace migrations {

// Not settled: tables emapitem and position.
int UpdateEmapLocation() { return 0; }

// Not settled: tables layout and account.
int UpdateUserDefLayout() { return 0; }

// Not settled: the folder of the e-map images.
int MoveEmapDir() { return 0; }

// Not settled: tables layout, layoutcamera, emap and emapitem: e-maps of recording servers.
int RemoveCmsEmap() { return 0; }

// Not settled: thumbnails of the e-map images, made with the host's image converter.
int PrepareEmapThumbnails() { return 0; }

// Not settled: layouts that show their cameras in sequence.
int UpdateSequenceLayout() { return 0; }

// Not settled: positions of e-map items, which depend on the settings key blFixedAspectRatio.
int UpdateEmapItemPosition() { return 0; }

// Not settled: per-user settings files: shortcuts to e-maps.
int RemoveEmapShortcut() { return 0; }

// Not settled: the default layout.
int CreateDefLayout() { return 0; }

// Not settled: table emapitem: items that also become items of the geo-map.
int CopyEmapItemToGeoMapItem() { return RunOnce("upgrade_copy_emap_item", kFailedToSetFlag, NotSettled); }

// Not settled: table emap: channels of e-maps in layouts.
int UpdateLayoutEmapChannel() { return 0; }

// Not settled: names of live-view layouts.
int UpdateLayoutName() { return 0; }

// Not settled: types of live-view layouts.
int UpdateLayoutType() { return 0; }

// Not settled: table viewdeck and the add-ons that served it.
int DisableVdAddonsAndMarkVdDeprecatedViewed() { return 0; }

// Not settled: per-user settings files: sort method of the layout panel.
int SetDefaultLayoutPanelSortMethod() { return 0; }

}  // namespace migrations
