#include "platform/linux/enforce/tc.h"

#include <netlink/errno.h>

#include <algorithm>
#include <cinttypes>
#include <cstdarg>
#include <cstdio>

#include "platform/linux/enforce/kernel/queues.h"
#include "platform/linux/enforce/marks.h"
#include "platform/linux/platformd/service.h"
#include "platform/linux/services/netif_devices.h"

namespace platform::platformd::enforce::tc {

using queues::Device;
using queues::HeldClass;
using queues::Picture;
using queues::Qdisc;
using queues::Redirect;
using queues::Side;

constexpr Place kPlaces[] = {Place::HostsUp, Place::HostsDown, Place::Wan, Place::Lan};

constexpr char kUp[] = "ifb-up";
constexpr char kDown[] = "ifb-dn";
constexpr char kCut[] = "ifb-cut";
constexpr const char* kIfbs[] = {kUp, kDown, kCut};

/// Below this rate, kbit/s, a packet of many frames would hold up all others for too long.
constexpr uint32_t kSlow = 50'000;

const char* ifb_of(Place place) {
    if (place == Place::HostsUp) return kUp;
    return place == Place::HostsDown ? kDown : nullptr;
}

std::vector<std::string> devices_of(Place place) {
    if (place == Place::Wan) return netif::wan_devices();
    return {place == Place::Lan ? kLanBridge : ifb_of(place)};
}

const Device* find(const Picture& picture, const std::string& name) {
    const auto found = std::ranges::find(picture.devices, name, &Device::name);
    return found == picture.devices.end() ? nullptr : &*found;
}

const Device* find(const Picture& picture, int index) {
    const auto found = std::ranges::find(picture.devices, index, &Device::index);
    return found == picture.devices.end() ? nullptr : &*found;
}

bool is_foreign(const Qdisc* root, Place place) {
    return root && (root->kind != "htb" || root->handle != queues::handle(place));
}

uint32_t total(const Tree& tree) {
    uint32_t most = 0;
    for (const auto& one : tree.classes)
        if (one.parent == 0) most = std::max(most, one.ceil);
    return most;
}

bool is_slow(const Trees& trees, Place place) {
    const auto tree = trees.find(place);
    return tree != trees.end() && total(tree->second) < kSlow;
}

bool wants(const Trees& trees, const std::string& ifb) {
    if (ifb == kUp) return trees.contains(Place::HostsUp);
    if (ifb == kDown) return trees.contains(Place::HostsDown);
    return is_slow(trees, Place::Wan) || is_slow(trees, Place::Lan);
}

bool is_leaf(uint16_t minor, const Tree& tree) {
    return std::ranges::find(tree.classes, minor, &QueueClass::parent) == tree.classes.end();
}

/// Children cannot be without their parents, and a class that moves is another one. Its place among
/// its siblings takes effect on an empty queue only.
bool can_stay(const QueueClass& held, const Tree& tree, const std::vector<HeldClass>& all) {
    const auto wanted = std::ranges::find(tree.classes, held.minor, &QueueClass::minor);
    if (wanted == tree.classes.end() || wanted->parent != held.parent) return false;
    if (is_leaf(held.minor, tree) && wanted->priority != held.priority) return false;
    const auto parent = std::ranges::find(all, held.parent, &QueueClass::minor);
    return held.parent == 0 || (parent != all.end() && can_stay(*parent, tree, all));
}

/// One walk through all that there should be and all that there is. It either tells of each
/// difference or does away with it.
class Walk {
  public:
    enum class Does { Tell, Mend };

    Walk(const Trees& trees, Does does, std::string& told)
        : trees_(trees), mends_(does == Does::Mend), told_(told) {}

    /// Whether all is as it should be, as far as that could be done.
    bool go();

  private:
    __attribute__((format(printf, 2, 3))) bool differs(const char* format, ...);
    bool did(int result);
    void hopeless(const std::string& what);
    bool look();

    const Qdisc* root_of(const Device& device) const;
    bool takes_filters_in_only(const Device& device) const;
    const Device* working(const char* ifb) const;
    const Device* cutter_of(Place place) const;
    std::vector<Redirect> wanted_redirects() const;
    bool wants_root(Place place, const Device& device) const;

    void remove_redirects();
    void remove_roots();
    void remove_ifbs();
    void make_ifbs();
    void set_ifbs();
    void follow_tree(Place place, const Tree& tree, const std::string& name);
    bool has_root(Place place, const Tree& tree, const Device& device);
    void follow_classes(Place place, const Tree& tree, const Device& device);
    void remove_classes(Place place, const Tree& tree, const Device& device,
                        std::vector<HeldClass>& held);
    bool follow_class(Place place, const QueueClass& wanted, const Device& device,
                      const std::vector<HeldClass>& held);
    void follow_leaf(Place place, const QueueClass& wanted, const Device& device, bool measure);
    void add_redirects();

    const Trees& trees_;
    const bool mends_;
    std::string& told_;
    std::string what_;
    bool failed_ = false;
    bool changed_ = false;
    Picture picture_;
};

/// In what is told each difference is a line; what could not be done away with, the first only.
bool Walk::differs(const char* format, ...) {
    char text[160];
    va_list arguments;
    va_start(arguments, format);
    vsnprintf(text, sizeof(text), format, arguments);
    va_end(arguments);
    what_ = text;
    if (!mends_) told_ += what_ + '\n';
    return mends_;
}

bool Walk::did(int result) {
    changed_ = true;
    if (result >= 0) return true;
    if (!failed_) told_ = what_ + ": " + nl_geterror(result);
    failed_ = true;
    return false;
}

void Walk::hopeless(const std::string& what) {
    if (!mends_) told_ += what + '\n';
    if (mends_ && !failed_) told_ = what;
    failed_ = true;
}

bool Walk::look() {
    const int result = queues::read(picture_);
    changed_ = false;
    if (result >= 0) return true;
    hopeless(std::string("queues cannot be read: ") + nl_geterror(result));
    return false;
}

/// Not the kernel's own.
const Qdisc* Walk::root_of(const Device& device) const {
    for (const auto& qdisc : picture_.qdiscs)
        if (qdisc.device == device.index && qdisc.parent == UINT32_MAX && qdisc.handle != 0)
            return &qdisc;
    return nullptr;
}

bool Walk::takes_filters_in_only(const Device& device) const {
    return std::ranges::any_of(picture_.qdiscs, [&device](const Qdisc& qdisc) {
        return qdisc.device == device.index && qdisc.kind == "ingress";
    });
}

/// Where a tree's packets are cut first.
const Device* Walk::cutter_of(Place place) const {
    return is_slow(trees_, place) ? working(kCut) : nullptr;
}

/// What leads to a device that is down drops every packet.
const Device* Walk::working(const char* ifb) const {
    const auto* device = wants(trees_, ifb) ? find(picture_, ifb) : nullptr;
    return device && device->is_up ? device : nullptr;
}

bool is_led_away(const std::vector<Redirect>& all, const Device& device) {
    return std::ranges::any_of(all, [&device](const Redirect& one) {
        return one.device == device.index && one.side == Side::Egress;
    });
}

// What leaves a device goes one way only, also where a port of the LAN is said to lead to the
// provider.
std::vector<Redirect> Walk::wanted_redirects() const {
    std::vector<Redirect> wanted;
    const auto *lan = find(picture_, kLanBridge), *up = working(kUp), *down = working(kDown);
    if (lan && up) wanted.push_back({lan->index, Side::Ingress, up->index});
    for (const auto& device : picture_.devices)
        if (lan && down && device.master == lan->index)
            wanted.push_back({device.index, Side::Egress, down->index});
    for (const auto place : {Place::Wan, Place::Lan})
        for (const auto& name : devices_of(place))
            if (const auto* cut = cutter_of(place), *device = find(picture_, name);
                cut && device && !is_led_away(wanted, *device) &&
                !is_foreign(root_of(*device), place))
                wanted.push_back({device->index, Side::Egress, cut->index});
    return wanted;
}

bool Walk::wants_root(Place place, const Device& device) const {
    return trees_.contains(place) && std::ranges::count(devices_of(place), device.name) > 0;
}

bool is_among(const std::vector<Redirect>& all, const Redirect& wanted) {
    return std::ranges::any_of(all, [&wanted](const Redirect& one) {
        return one.device == wanted.device && one.side == wanted.side &&
               one.target == wanted.target;
    });
}

void Walk::remove_redirects() {
    const auto wanted = wanted_redirects();
    for (const auto& redirect : picture_.redirects) {
        const auto* device = find(picture_, redirect.device);
        if (!device || is_among(wanted, redirect)) continue;
        if (differs("%s: leads to queues that are not asked for", device->name.c_str()))
            did(queues::delete_redirect(redirect));
    }
}

void Walk::remove_roots() {
    for (const auto& device : picture_.devices) {
        const auto* root = root_of(device);
        if (!root || root->kind != "htb") continue;
        for (const auto place : kPlaces) {
            if (root->handle != queues::handle(place) || wants_root(place, device)) continue;
            if (differs("%s: queues that are not asked for", device.name.c_str()))
                did(queues::delete_root(device.index, place));
        }
    }
}

// A device that something still leads to takes all traffic with it.
void Walk::remove_ifbs() {
    for (const char* ifb : kIfbs) {
        const auto* device = find(picture_, ifb);
        if (!device || !device->is_ifb || wants(trees_, ifb) || failed_) continue;
        if (differs("%s: a device that is not asked for", ifb))
            did(queues::delete_device(device->index));
    }
}

void Walk::make_ifbs() {
    for (const char* ifb : kIfbs)
        if (wants(trees_, ifb) && !find(picture_, ifb) && differs("%s: no device", ifb))
            did(queues::add_ifb(ifb));
}

void Walk::set_ifbs() {
    for (const char* ifb : kIfbs) {
        const auto* device = wants(trees_, ifb) ? find(picture_, ifb) : nullptr;
        if (!device) continue;
        if (ifb == kCut && !device->cuts && differs("%s: lets big packets through", ifb))
            did(queues::set_cutting(device->index));
        if (!device->is_up && differs("%s: down", ifb)) did(queues::set_up(device->index));
    }
}

void Walk::follow_tree(Place place, const Tree& tree, const std::string& name) {
    const auto* device = find(picture_, name);
    if (device && has_root(place, tree, *device)) follow_classes(place, tree, *device);
    if (!device && !mends_ && !ifb_of(place)) told_ += "warning: " + name + ": no device\n";
}

/// Whether the device has the root of the tree, with whatever classes.
bool Walk::has_root(Place place, const Tree& tree, const Device& device) {
    const auto* root = root_of(device);
    const char* name = device.name.c_str();
    if (is_foreign(root, place)) {
        hopeless(device.name + ": has queues of another program (" + root->kind + ")");
        return false;
    }
    if (root && root->default_class != tree.default_minor) {
        if (!differs("%s: default class %x instead of %x", name, root->default_class,
                     tree.default_minor))
            return true;
        if (!did(queues::delete_root(device.index, place))) return false;
        root = nullptr;
    }
    if (root) return true;
    return differs("%s: no queues", name) &&
           did(queues::add_root(device.index, place, tree.default_minor));
}

void Walk::follow_classes(Place place, const Tree& tree, const Device& device) {
    std::vector<HeldClass> held;
    if (const int result = queues::read_classes(device.index, place, held); result < 0)
        return hopeless(device.name + ": " + nl_geterror(result));
    remove_classes(place, tree, device, held);
    for (const auto& wanted : tree.classes) {
        const bool measure = follow_class(place, wanted, device, held);
        if (is_leaf(wanted.minor, tree)) follow_leaf(place, wanted, device, measure);
    }
}

/// Those without children first; what is removed is no longer held.
void Walk::remove_classes(Place place, const Tree& tree, const Device& device,
                          std::vector<HeldClass>& held) {
    const auto all = held;
    for (bool again = true; again;) {
        const auto gone = std::ranges::find_if(held, [&](const QueueClass& one) {
            return !can_stay(one, tree, all) &&
                   std::ranges::find(held, one.minor, &QueueClass::parent) == held.end();
        });
        again = gone != held.end();
        if (!again) break;
        const auto minor = gone->minor;
        held.erase(gone);
        if (differs("%s: class %x:%x is not as asked for", device.name.c_str(),
                    static_cast<unsigned>(place), minor))
            did(queues::delete_class(device.index, place, minor));
    }
}

/// Whether what waits behind the class has to be measured anew.
bool Walk::follow_class(Place place, const QueueClass& wanted, const Device& device,
                        const std::vector<HeldClass>& held) {
    const auto found = std::ranges::find(held, wanted.minor, &HeldClass::minor);
    const char* name = device.name.c_str();
    const auto major = static_cast<unsigned>(place);
    if (found == held.end())
        return !differs("%s: no class %x:%x", name, major, wanted.minor) ||
               did(queues::set_class(device.index, place, wanted));
    if (found->rate != wanted.rate || found->ceil != wanted.ceil ||
        found->quantum != wanted.quantum)
        if (differs("%s: class %x:%x rate=%u ceil=%u quantum=%u instead of %u %u %u", name, major,
                    wanted.minor, found->rate, found->ceil, found->quantum, wanted.rate,
                    wanted.ceil, wanted.quantum))
            did(queues::set_class(device.index, place, wanted));
    return found->ceil != wanted.ceil;
}

void Walk::follow_leaf(Place place, const QueueClass& wanted, const Device& device, bool measure) {
    const auto parent = queues::handle(place, wanted.minor);
    const bool has_leaf = std::ranges::any_of(picture_.qdiscs, [&](const Qdisc& qdisc) {
        return qdisc.device == device.index && qdisc.parent == parent;
    });
    if (measure ? !mends_ : has_leaf) return;
    if (differs("%s: class %x:%x has no queue of its own", device.name.c_str(),
                static_cast<unsigned>(place), wanted.minor))
        did(queues::set_leaf(device.index, place, wanted));
}

void Walk::add_redirects() {
    for (const auto& wanted : wanted_redirects()) {
        const auto* device = find(picture_, wanted.device);
        if (is_among(picture_.redirects, wanted)) continue;
        if (wanted.side == Side::Egress && takes_filters_in_only(*device)) {
            hopeless(device->name + ": has an ingress queue of another program");
            continue;
        }
        if (differs("%s: does not lead to queues that are asked for", device->name.c_str()))
            did(queues::add_redirect(wanted));
    }
}

// Packets are led only to queues that stand, and no longer before these go.
bool Walk::go() {
    if (!look()) return false;
    remove_redirects();
    remove_roots();
    remove_ifbs();
    make_ifbs();
    if (changed_ && !look()) return false;
    set_ifbs();
    if (changed_ && !look()) return false;
    for (const auto& [place, tree] : trees_)
        for (const auto& name : devices_of(place))
            follow_tree(place, tree, name);
    add_redirects();
    return !failed_;
}

void list(const Device& device, Place place, std::string& out) {
    std::vector<HeldClass> classes;
    queues::read_classes(device.index, place, classes);
    std::ranges::sort(classes, {}, &HeldClass::minor);
    for (const auto& one : classes)
        state_line(out, "  %s %x:%x rate %u ceil %u packets %" PRIu64 " dropped %" PRIu64,
                   device.name.c_str(), static_cast<unsigned>(place), one.minor, one.rate, one.ceil,
                   one.passed, one.dropped);
}

}  // namespace platform::platformd::enforce::tc

namespace platform::platformd::enforce {

bool tc_apply(const Trees& trees, std::string& error) {
    std::string told;
    if (tc::Walk(trees, tc::Walk::Does::Mend, told).go()) return true;
    error = told;
    return false;
}

void tc_list(std::string& out) {
    queues::Picture picture;
    if (queues::read(picture) < 0) return;
    for (const auto& root : picture.qdiscs)
        for (const auto place : tc::kPlaces)
            if (const auto* device = tc::find(picture, root.device);
                device && !tc::is_foreign(&root, place))
                tc::list(*device, place, out);
}

bool tc_release(std::string& error) {
    return tc_apply({}, error);
}

void tc_audit(const Trees& trees, std::string& out) {
    tc::Walk(trees, tc::Walk::Does::Tell, out).go();
}

}  // namespace platform::platformd::enforce
