// SPDX-License-Identifier: MIT
#include "observe/owner/control_group.hpp"

#include <ostream>

using namespace kt3::observe;

namespace kt3::observe {

// What gtest prints of a group.
void PrintTo(const ControlGroup& group, std::ostream* out) {
    const auto text = [](const std::optional<std::string>& value) { return value.value_or("-"); };
    *out << "unit " << text(group.unit) << ", container " << text(group.container) << " of " << text(group.runtime)
         << ", pod " << text(group.pod) << ", job " << text(group.job);
}

} // namespace kt3::observe

namespace {

#define KT3_ID "5e0b9d1c47a2f38864f1c0de93b7a5526d8ef014b3c29a7700d0c4e1ab5e5511"
#define KT3_OUTER_ID "90da000000002247a2f38864f1c0de93b7a5526d8ef014b3c29a7700d0c4e1ab"
#define KT3_UID "0a1b2c3d-4e5f-6071-8293-a4b5c6d7e8f9"
#define KT3_SLICE_UID "0a1b2c3d_4e5f_6071_8293_a4b5c6d7e8f9"
#define KT3_STATIC_UID "0a1b2c3d4e5f60718293a4b5c6d7e8f9"

constexpr const char* kNone = nullptr;

struct Row {
    const char* name;
    const char* text;
    const char* unit = kNone;
    const char* container = kNone;
    const char* runtime = kNone;
    const char* pod = kNone;
    const char* job = kNone;
};

std::ostream& operator<<(std::ostream& out, const Row& row) {
    return out << row.text;
}

std::optional<std::string> value(const char* text) {
    return text == nullptr ? std::nullopt : std::optional<std::string>(text);
}

// clang-format off
const Row kRows[] = {
    // systemd alone
    {"Service", "0::/system.slice/streamd.service\n", "streamd.service"},
    {"ServiceOfATemplate", "0::/system.slice/system-getty.slice/getty@tty1.service\n", "getty@tty1.service"},
    {"ServiceWithGroupsOfItsOwn", "0::/system.slice/streamd.service/workers/3\n", "streamd.service"},
    {"EscapedService", "0::/system.slice/video\\x2dwall.service\n", "video\\x2dwall.service"},
    {"ServiceNamedAsAController", "0::/system.slice/_cpu.service\n", "cpu.service"},
    {"Session", "0::/user.slice/user-1000.slice/session-3.scope\n", "session-3.scope"},
    {"UserService", "0::/user.slice/user-1000.slice/user@1000.service/app.slice/app-foo.scope\n", "app-foo.scope"},
    {"UserServiceInASession",
     "0::/user.slice/user-1000.slice/user@1000.service/session.slice/compositor.service\n", "compositor.service"},
    {"UserManager", "0::/user.slice/user-1000.slice/user@1000.service/init.scope\n", "init.scope"},
    {"Init", "0::/init.scope\n", "init.scope"},
    {"Mount", "0::/system.slice/srv-data.mount\n", "srv-data.mount"},
    {"SliceOnly", "0::/user.slice/user-1000.slice\n"},
    {"ServiceThatWasRemoved", "0::/system.slice/streamd.service (deleted)\n", "streamd.service"},
    // docker
    {"DockerWithSystemd", "0::/system.slice/docker-" KT3_ID ".scope\n", "docker-" KT3_ID ".scope", KT3_ID, "docker"},
    {"DockerWithoutSystemd", "0::/docker/" KT3_ID "\n", kNone, KT3_ID, "docker"},
    {"DockerInAParentGroup", "0::/team.slice/docker-" KT3_ID ".scope\n", "docker-" KT3_ID ".scope", KT3_ID, "docker"},
    {"DockerRootless",
     "0::/user.slice/user-1000.slice/user@1000.service/user.slice/docker-" KT3_ID ".scope\n",
     "docker-" KT3_ID ".scope", KT3_ID, "docker"},
    {"DockerOnV1",
     "12:pids:/docker/" KT3_ID "\n11:memory:/docker/" KT3_ID "\n4:cpu,cpuacct:/docker/" KT3_ID "\n"
     "1:name=systemd:/docker/" KT3_ID "\n", kNone, KT3_ID, "docker"},
    {"DockerOnHybrid",
     "11:devices:/docker/" KT3_ID "\n1:name=systemd:/docker/" KT3_ID "\n0::/system.slice/containerd.service\n",
     kNone, KT3_ID, "docker"},
    {"SystemdInDocker",
     "0::/system.slice/docker-" KT3_ID ".scope/system.slice/web.service\n", "web.service", KT3_ID, "docker"},
    {"DockerInDocker",
     "0::/system.slice/docker-" KT3_OUTER_ID ".scope/docker/" KT3_ID "\n",
     "docker-" KT3_OUTER_ID ".scope", KT3_ID, "docker"},
    {"DockerDaemon", "0::/system.slice/docker.service\n", "docker.service"},
    {"TaskOfAClusterService", "9:memory:/ecs/0f1e2d3c4b5a69788796a5b4c3d2e1f0/" KT3_ID "\n", kNone, KT3_ID},
    // containerd
    {"ContainerdWithAName",
     "0::/system.slice/containerd.service/default/encoder\n", "containerd.service", "encoder", "containerd"},
    {"ContainerdWithANameAtTheTop", "0::/default/encoder\n", kNone, "encoder", "containerd"},
    {"ContainerdOfKubernetes", "0::/k8s.io/" KT3_ID "\n", kNone, KT3_ID, "containerd"},
    {"Nerdctl", "0::/system.slice/nerdctl-" KT3_ID ".scope\n", "nerdctl-" KT3_ID ".scope", KT3_ID, "containerd"},
    {"ContainerdDaemon", "0::/system.slice/containerd.service\n", "containerd.service"},
    // podman
    {"PodmanRootless",
     "0::/user.slice/user-1000.slice/user@1000.service/user.slice/libpod-" KT3_ID ".scope/container\n",
     "libpod-" KT3_ID ".scope", KT3_ID, "podman"},
    {"Podman", "0::/machine.slice/libpod-" KT3_ID ".scope\n", "libpod-" KT3_ID ".scope", KT3_ID, "podman"},
    {"PodmanWithoutSystemd", "0::/libpod_parent/libpod-" KT3_ID "\n", kNone, KT3_ID, "podman"},
    {"PodmanInAService",
     "0::/system.slice/web.service/libpod-payload-" KT3_ID "\n", "web.service", KT3_ID, "podman"},
    {"MonitorOfPodman", "0::/machine.slice/libpod-conmon-" KT3_ID ".scope\n", "libpod-conmon-" KT3_ID ".scope"},
    // Kubernetes
    {"ContainerdBurstable",
     "0::/kubepods.slice/kubepods-burstable.slice/kubepods-burstable-pod" KT3_SLICE_UID ".slice/"
     "cri-containerd-" KT3_ID ".scope\n", "cri-containerd-" KT3_ID ".scope", KT3_ID, "containerd", KT3_UID},
    {"CrioGuaranteed",
     "0::/kubepods.slice/kubepods-pod" KT3_SLICE_UID ".slice/crio-" KT3_ID ".scope\n",
     "crio-" KT3_ID ".scope", KT3_ID, "cri-o", KT3_UID},
    {"CrioContainerGroup",
     "0::/kubepods.slice/kubepods-pod" KT3_SLICE_UID ".slice/crio-" KT3_ID ".scope/container\n",
     "crio-" KT3_ID ".scope", KT3_ID, "cri-o", KT3_UID},
    {"MonitorOfCrio",
     "0::/kubepods.slice/kubepods-besteffort.slice/kubepods-besteffort-pod" KT3_SLICE_UID ".slice/"
     "crio-conmon-" KT3_ID ".scope\n", "crio-conmon-" KT3_ID ".scope", kNone, kNone, KT3_UID},
    {"DockerInAPod",
     "0::/kubepods.slice/kubepods-besteffort.slice/kubepods-besteffort-pod" KT3_SLICE_UID ".slice/"
     "docker-" KT3_ID ".scope\n", "docker-" KT3_ID ".scope", KT3_ID, "docker", KT3_UID},
    {"PodWithoutSystemd",
     "0::/kubepods/burstable/pod" KT3_UID "/" KT3_ID "\n", kNone, KT3_ID, kNone, KT3_UID},
    {"PodWithoutSystemdGuaranteed", "0::/kubepods/pod" KT3_UID "/" KT3_ID "\n", kNone, KT3_ID, kNone, KT3_UID},
    {"CrioWithoutSystemd",
     "0::/kubepods/besteffort/pod" KT3_UID "/crio-" KT3_ID "\n", kNone, KT3_ID, "cri-o", KT3_UID},
    {"PodOnV1",
     "11:cpuset:/kubepods/burstable/pod" KT3_UID "/" KT3_ID "\n10:memory:/kubepods/burstable/pod" KT3_UID "/" KT3_ID
     "\n1:name=systemd:/kubepods/burstable/pod" KT3_UID "/" KT3_ID "\n", kNone, KT3_ID, kNone, KT3_UID},
    {"StaticPod",
     "0::/kubepods.slice/kubepods-burstable.slice/kubepods-burstable-pod" KT3_STATIC_UID ".slice/"
     "cri-containerd-" KT3_ID ".scope\n", "cri-containerd-" KT3_ID ".scope", KT3_ID, "containerd", KT3_STATIC_UID},
    {"PodOfARuntimeThatDoesNotUseSystemd",
     "0::/system.slice/containerd.service/kubepods-burstable-pod" KT3_SLICE_UID ".slice:cri-containerd:" KT3_ID "\n",
     "containerd.service", KT3_ID, "containerd", KT3_UID},
    {"ContainerdServiceWithPods",
     "0::/system.slice/containerd.service/kubepods/burstable/pod" KT3_UID "/" KT3_ID "\n",
     "containerd.service", KT3_ID, kNone, KT3_UID},
    {"NodeInDocker",
     "0::/docker/" KT3_OUTER_ID "/kubelet.slice/kubelet-kubepods.slice/kubelet-kubepods-burstable.slice/"
     "kubelet-kubepods-burstable-pod" KT3_SLICE_UID ".slice/cri-containerd-" KT3_ID ".scope\n",
     "cri-containerd-" KT3_ID ".scope", KT3_ID, "containerd", KT3_UID},
    {"NodeInDockerWithoutSystemd",
     "0::/docker/" KT3_OUTER_ID "/kubelet/kubepods/besteffort/pod" KT3_UID "/" KT3_ID "\n",
     kNone, KT3_ID, kNone, KT3_UID},
    {"DockerInAPodOfAnother",
     "0::/kubepods/burstable/pod" KT3_UID "/" KT3_OUTER_ID "/docker/" KT3_ID "\n", kNone, KT3_ID, "docker", KT3_UID},
    {"PodGroupItself", "0::/kubepods/burstable/pod" KT3_UID "\n", kNone, kNone, kNone, KT3_UID},
    {"Kubelet", "0::/system.slice/kubelet.service\n", "kubelet.service"},
    // Slurm
    {"SlurmOnV2",
     "0::/system.slice/slurmstepd.scope/job_1234/step_0/user/task_0\n", "slurmstepd.scope", kNone, kNone, kNone, "1234"},
    {"SlurmOnV2WithSeveralNodes",
     "0::/system.slice/node1_slurmstepd.scope/job_7/step_batch/user/task_special\n",
     "node1_slurmstepd.scope", kNone, kNone, kNone, "7"},
    {"SlurmOnV1",
     "9:freezer:/slurm/uid_1000/job_123/step_batch\n8:memory:/slurm/uid_1000/job_123/step_batch/task_0\n"
     "1:name=systemd:/system.slice/slurmd.service\n", "slurmd.service", kNone, kNone, kNone, "123"},
    {"SlurmOnV1WithSeveralNodes",
     "9:freezer:/slurm_node1/uid_1000/job_99/step_0\n", kNone, kNone, kNone, kNone, "99"},
    {"SlurmOnHybrid",
     "6:devices:/slurm/uid_1003/job_1235/step_extern\n1:name=systemd:/system.slice/slurmd.service\n"
     "0::/system.slice/slurmd.service\n", "slurmd.service", kNone, kNone, kNone, "1235"},
    {"ContainerInAJob",
     "0::/system.slice/slurmstepd.scope/job_5/step_0/user/task_0/libpod-" KT3_ID "\n",
     "slurmstepd.scope", KT3_ID, "podman", kNone, "5"},
    {"JobOfSomethingElse", "0::/system.slice/ci.service/job_12\n", "ci.service"},
    {"JobWithoutANumber", "0::/slurm/uid_1000/job_x\n"},
    // machines
    {"LxcPayload", "0::/lxc.payload.web1/system.slice/ssh.service\n", "ssh.service", "web1", "lxc"},
    {"LxcOnV1", "8:memory:/lxc/101\n1:name=systemd:/lxc/101/init.scope\n", "init.scope", "101", "lxc"},
    {"LxcWithAGroup", "0::/lxc/web1/.lxc\n", kNone, "web1", "lxc"},
    {"LxcMonitor", "0::/lxc.monitor.web1\n"},
    {"DockerInLxc",
     "0::/lxc.payload.web1/system.slice/docker-" KT3_ID ".scope\n", "docker-" KT3_ID ".scope", KT3_ID, "docker"},
    {"Machine", "0::/machine.slice/machine-x.scope/payload\n", "machine-x.scope", "x", "machined"},
    {"EscapedMachine",
     "0::/machine.slice/machine-qemu\\x2d1\\x2dwin.scope/libvirt/emulator\n",
     "machine-qemu\\x2d1\\x2dwin.scope", "qemu-1-win", "machined"},
    {"ScopeThatIsNoMachine",
     "0::/user.slice/user-1.slice/user@1.service/app.slice/machine-learning.scope\n", "machine-learning.scope"},
    {"Nspawn",
     "0::/machine.slice/systemd-nspawn@deb\\x2dtest.service/payload/system.slice/x.service\n",
     "x.service", "deb-test", "systemd-nspawn"},
    {"SupervisorOfNspawn",
     "0::/machine.slice/systemd-nspawn@deb.service/supervisor\n", "systemd-nspawn@deb.service"},
    // namespaces and hierarchies
    {"RootOfANamespace", "0::/\n"},
    {"OutsideOfTheNamespace", "0::/../..\n"},
    {"BesideTheNamespace", "0::/../../system.slice/streamd.service\n", "streamd.service"},
    {"BesideTheNamespaceOfAContainer", "0::/../" KT3_ID "\n", kNone, KT3_ID},
    {"HybridOutsideOfContainers",
     "3:cpuset:/\n2:memory:/system.slice/a.service\n1:name=systemd:/system.slice/b.service\n"
     "0::/system.slice/c.service\n", "b.service"},
    {"HybridWithoutAUnitOfSystemd", "1:name=systemd:/\n0::/system.slice/c.service\n"},
    {"ControllersOnly", "3:cpuset:/\n2:memory:/system.slice/a.service\n", "a.service"},
    {"OtherServiceManager", "1:name=elogind:/2\n"},
    // what is none of it
    {"Empty", ""},
    {"NoLineEnd", "0::/system.slice/streamd.service", "streamd.service"},
    {"NoPath", "0::\n"},
    {"NoColons", "streamd.service\n"},
    {"ColonInTheName", "0::/system.slice/a:b.service\n", "a:b.service"},
    {"EndsOfNames", "0::/.service/.scope/_.service/docker-/pod/job_/lxc.payload.\n"},
    {"MachinesWithoutNames", "0::/machine.slice/machine-.scope\n1:x:/systemd-nspawn@.service\n", "machine-.scope"},
    {"TooShortAnIdentifier", "0::/docker/5e0b9d1c47a\n"},
    {"NotHexadecimal", "0::/docker/5e0b9d1c47a2f38864f1c0de93b7a5526d8ef014b3c29a7700d0c4e1ab5e551g\n"},
    {"PodOutsideOfKubernetes", "0::/pod" KT3_UID "\n"},
    {"PodWithABadUid", "0::/kubepods/podgalaxy/" KT3_ID "\n", kNone, KT3_ID},
    {"BrokenEscape", "0::/machine.slice/machine-a\\x2.scope\n", "machine-a\\x2.scope", "a\\x2", "machined"},
};
// clang-format on

class ControlGroups : public ::testing::TestWithParam<Row> {};

} // namespace

TEST_P(ControlGroups, SayWhatAProcessBelongsTo) {
    const Row& row = GetParam();
    const ControlGroup expected{value(row.unit), value(row.container), value(row.runtime), value(row.pod),
                                value(row.job)};
    EXPECT_EQ(parse_control_group(row.text), expected);
}

INSTANTIATE_TEST_SUITE_P(Lines, ControlGroups, ::testing::ValuesIn(kRows),
                         [](const auto& one) { return std::string(one.param.name); });

TEST(ControlGroupText, MayHoldAnything) {
    using namespace std::string_view_literals;
    EXPECT_EQ(parse_control_group("0::/a\0b/x.service\n"sv).unit, "x.service");
    EXPECT_EQ(parse_control_group("\0\0::\n0::/x.service\n"sv).unit, "x.service");
    EXPECT_EQ(parse_control_group("0::/\xff\xfe.service"sv).unit, "\xff\xfe.service");
    const std::string deep(1'000'000, '/');
    EXPECT_EQ(parse_control_group("0::" + deep), ControlGroup());
    const std::string name(1'000'000, 'a');
    EXPECT_EQ(parse_control_group("0::/docker/" + name).container->size(), name.size());
    EXPECT_EQ(parse_control_group("0::/kubepods/pod" + name), ControlGroup());
    EXPECT_EQ(parse_control_group("0::/lxc/" + name + "\\x").container->size(), name.size() + 2);
    EXPECT_EQ(parse_control_group(std::string(1'000'000, ':')), ControlGroup());
    EXPECT_EQ(parse_control_group(std::string(1'000'000, '\n')), ControlGroup());
}
