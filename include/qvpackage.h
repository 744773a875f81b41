/// Where the package lives on the appliance.
#pragma once

/// The package's folder. A build may set another one, so that a developer's machine is left alone.
#ifndef QV_PACKAGE_DIR
#define QV_PACKAGE_DIR "/var/packages/Quorvane/target"
#endif
