#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "platform/linux/enforce/trees.h"

// Devices, queues and filters of the kernel as plain numbers, and the changes that tc.cpp makes of
// them, one message each. Results are 0 or a negative error of libnl's.

namespace platform::platformd::enforce::queues {

struct Device {
    int index;
    std::string name;
    int master;  ///< index of the bridge that it is a port of; 0: none
    bool is_up;
    bool is_ifb;
    bool cuts;  ///< lets only single frames through, and cuts what is bigger
};

struct Qdisc {
    int device;
    uint32_t handle;
    uint32_t parent;
    std::string kind;
    uint32_t default_class;  ///< of HTB
};

/// A class, and the packets that it let pass and that found no room.
struct HeldClass : QueueClass {
    uint64_t passed;
    uint64_t dropped;
};

/// As a filter's parent.
enum class Side : uint32_t { Ingress = 0xfffffff2, Egress = 0xfffffff3 };

/// A filter of ours.
struct Redirect {
    int device;
    Side side;
    int target;  ///< 0: the device is gone
};

struct Picture {
    std::vector<Device> devices;
    std::vector<Qdisc> qdiscs;
    std::vector<Redirect> redirects;
};

constexpr uint32_t handle(Place place, uint16_t minor = 0) {
    return uint32_t{static_cast<uint16_t>(place)} << 16 | minor;
}

int read(Picture& picture);
/// The classes of a device that are of a place, in no order.
int read_classes(int device, Place place, std::vector<HeldClass>& classes);

/// Makes the device, down.
int add_ifb(const char* name);
int set_cutting(int device);
int set_up(int device);
int delete_device(int device);

int add_root(int device, Place place, uint16_t default_minor);
int delete_root(int device, Place place);
/// Adds a class or gives it other rates.
int set_class(int device, Place place, const QueueClass& wanted);
int delete_class(int device, Place place, uint16_t minor);
/// Gives a class without children a queue that is short for its rate, fair among its flows where
/// the kernel can.
int set_leaf(int device, Place place, const QueueClass& wanted);

int add_redirect(const Redirect& redirect);
/// What filters hang on goes with the last of them.
int delete_redirect(const Redirect& redirect);

}  // namespace platform::platformd::enforce::queues
