// Everything that libinvscan offers.
#pragma once

#include <invscan/catalogue.h>
#include <invscan/collectors.h>
#include <invscan/factory.h>
#include <invscan/group.h>
#include <invscan/groups.h>
#include <invscan/helper.h>
#include <invscan/hwconfig.h>
#include <invscan/machine.h>
#include <invscan/md5.h>
#include <invscan/physmem.h>
#include <invscan/print.h>
#include <invscan/process.h>
#include <invscan/processor.h>
#include <invscan/smbios.h>
#include <invscan/smbiosinfo.h>
#include <invscan/statistics.h>
#include <invscan/table.h>
#include <invscan/traits.h>
#include <invscan/vartree.h>
