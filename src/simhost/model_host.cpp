#include <algorithm>
#include <iterator>

#include "simhost/hyperv_model.h"

namespace quorvane::sim {
namespace {

struct ServiceName {
  const wchar_t* className;
  const wchar_t* name;
  // The defaults their documentation pages give; empty where a page gives none.
  const wchar_t* caption;
  const wchar_t* description;
  const wchar_t* elementName;
  const wchar_t* statusDescription;
};

// "vmms", "vssnapsvc" and "vhdsvc" are what Hyper-V calls its services; the names of the
// reference point and security services are not published and are our choice.
constexpr ServiceName kServices[] = {
    {L"Msvm_VirtualSystemManagementService", L"vmms", L"Virtual System Management Service",
     L"Service for creating, manipulating, and managing virtual machines",
     L"Hyper-V Virtual System Management Service", L"The service is running normally"},
    {L"Msvm_VirtualSystemSnapshotService", L"vssnapsvc", L"Hyper-V Virtual System Snapshot Service",
     L"Service for creating, destroying, and applying virtual machine snapshots", L"",
     L"The service is running normally"},
    {L"Msvm_ImageManagementService", L"vhdsvc", L"Hyper-V Image Management Service",
     L"Provides Image Management servicing for Hyper-V", L"Hyper-V Image Management Service",
     L"OK"},
    {L"Msvm_VirtualSystemReferencePointService", L"vrpsvc", L"", L"", L"", L""},
    {L"Msvm_SecurityService", L"securitysvc", L"", L"", L"", L""},
};

// The configuration versions a Windows Server 2022 host supports.
constexpr const wchar_t* kVersions[] = {L"8.0", L"8.1", L"8.2", L"8.3", L"9.0",
                                        L"9.1", L"9.2", L"9.3", L"10.0"};

constexpr wchar_t kProcessorPool[] = L"B637F347-6A0E-4DEC-AF52-BD70CB80A21D";
constexpr wchar_t kMemoryPool[] = L"4764334E-E001-4176-82EE-5594EC9B530E";

struct Template {
  const wchar_t* role;  // Default, Minimum, Maximum, Increment
  const wchar_t* caption;
  std::int32_t valueRole;
  std::int32_t valueRange;
  PropertyList values;
};

void LinkTemplate(Repository& v2, Repository::Id capabilities, Repository::Id settings,
                  std::int32_t valueRole, std::int32_t valueRange) {
  v2.Associate(L"Msvm_SettingsDefineCapabilities", L"GroupComponent", capabilities,
               L"PartComponent", settings,
               {{L"ValueRole", WmiValue::Int32(valueRole)},
                {L"ValueRange", WmiValue::Int32(valueRange)},
                {L"PropertyPolicy", WmiValue::Int32(0)}});
}

// A resource pool with its allocation capabilities and the four templates, the default one
// first or, when `defaultLast`, after the others.
void AddPool(Repository& v2, bool defaultLast, const wchar_t* poolClass, const wchar_t* pool,
             std::int32_t resourceType, const wchar_t* subType, const wchar_t* settingsClass,
             std::vector<Template> templates) {
  if (defaultLast) {
    std::stable_partition(templates.begin(), templates.end(),
                          [](const Template& each) { return each.valueRole != 0; });
  }
  const std::wstring poolId = std::wstring(L"Microsoft:") + pool;
  const auto poolObject = v2.Create(poolClass, {{L"InstanceID", WmiValue::String(poolId)},
                                                {L"PoolID", WmiValue::String(pool)},
                                                {L"Primordial", WmiValue::Boolean(true)},
                                                {L"ResourceType", WmiValue::Int32(resourceType)},
                                                {L"ResourceSubType", WmiValue::String(subType)}});
  const auto capabilities =
      v2.Create(L"Msvm_AllocationCapabilities", {{L"InstanceID", WmiValue::String(poolId)},
                                                 {L"ResourceType", WmiValue::Int32(resourceType)},
                                                 {L"ResourceSubType", WmiValue::String(subType)}});
  v2.Associate(L"Msvm_ElementCapabilities", L"ManagedElement", poolObject, L"Capabilities",
               capabilities);
  for (const auto& each : templates) {
    PropertyList values = each.values;
    values.emplace_back(L"InstanceID", WmiValue::String(std::wstring(L"Microsoft:Definition\\") +
                                                        pool + L"\\" + each.role));
    values.emplace_back(L"Caption", WmiValue::String(each.caption));
    values.emplace_back(L"ResourceType", WmiValue::Int32(resourceType));
    values.emplace_back(L"ResourceSubType", WmiValue::String(subType));
    LinkTemplate(v2, capabilities, v2.Create(settingsClass, values), each.valueRole,
                 each.valueRange);
  }
}

}  // namespace

void AddHostSystem(HostCore& host) {
  Repository& v2 = host.Namespace(kVirtualizationNamespace);
  const std::wstring& name = host.Settings().name;
  v2.Create(L"Msvm_ComputerSystem",
            {{L"CreationClassName", WmiValue::String(L"Msvm_ComputerSystem")},
             {L"Name", WmiValue::String(name)},
             {L"ElementName", WmiValue::String(name)},
             {L"Caption", WmiValue::String(L"Hosting Computer System")},
             {L"Description", WmiValue::String(L"Microsoft Hosting Computer System")},
             {L"EnabledState", WmiValue::Int32(2)},
             {L"HealthState", WmiValue::Int32(5)},
             {L"OperationalStatus", WmiValue::Array(std::vector<std::int32_t>{2})}});
  for (const auto& service : kServices) {
    PropertyList values = {{L"CreationClassName", WmiValue::String(service.className)},
                           {L"Name", WmiValue::String(service.name)},
                           {L"SystemCreationClassName", WmiValue::String(L"Msvm_ComputerSystem")},
                           {L"SystemName", WmiValue::String(name)},
                           {L"EnabledState", WmiValue::Int32(2)},
                           {L"RequestedState", WmiValue::Int32(12)},
                           {L"EnabledDefault", WmiValue::Int32(2)},
                           {L"Started", WmiValue::Boolean(true)},
                           {L"HealthState", WmiValue::Int32(5)},
                           {L"OperationalStatus", WmiValue::Array(std::vector<std::int32_t>{2})}};
    const std::pair<const wchar_t*, const wchar_t*> documented[] = {
        {L"Caption", service.caption},
        {L"Description", service.description},
        {L"ElementName", service.elementName}};
    for (const auto& [property, text] : documented) {
      if (*text != L'\0') {
        values.emplace_back(property, WmiValue::String(text));
      }
    }
    if (*service.statusDescription != L'\0') {
      values.emplace_back(L"StatusDescriptions",
                          WmiValue::Array(std::vector<std::wstring>{service.statusDescription}));
    }
    v2.Create(service.className, std::move(values));
  }
  v2.Create(L"Msvm_VirtualSystemManagementServiceSettingData",
            {{L"InstanceID", WmiValue::String(L"Microsoft:" + name)},
             {L"DefaultExternalDataRoot",
              WmiValue::String(L"C:\\ProgramData\\Microsoft\\Windows\\Hyper-V")},
             {L"DefaultVirtualHardDiskPath",
              WmiValue::String(L"C:\\ProgramData\\Microsoft\\Windows\\Virtual Hard Disks")}});
}

// Pools of devices, each with its default settings: new devices start from these.
void AddDevicePools(HostCore& host) {
  Repository& v2 = host.Namespace(kVirtualizationNamespace);
  struct DevicePool {
    const wchar_t* subType;
    std::int32_t resourceType;
    const wchar_t* settingsClass;
    const wchar_t* name;
  };
  const DevicePool pools[] = {
      {kDiskDriveSubType, 17, L"Msvm_ResourceAllocationSettingData", L"Hard Drive"},
      {kDvdDriveSubType, 16, L"Msvm_ResourceAllocationSettingData", L"DVD Drive"},
      {kHardDiskSubType, 31, L"Msvm_StorageAllocationSettingData", L"Hard Disk Image"},
      {kDvdMediumSubType, 31, L"Msvm_StorageAllocationSettingData", L"ISO Disk Image"},
      {kScsiControllerSubType, 6, L"Msvm_ResourceAllocationSettingData", L"SCSI Controller"},
      {kPortSubType, 10, L"Msvm_SyntheticEthernetPortSettingData",
       L"Default Synthetic Ethernet Port"},
      {kConnectionSubType, 33, L"Msvm_EthernetPortAllocationSettingData",
       L"Default Ethernet Connection"},
  };
  for (const auto& pool : pools) {
    const std::wstring id = host.NewGuid();
    PropertyList defaults = {{L"ElementName", WmiValue::String(pool.name)}};
    if (pool.resourceType == 33) {
      defaults.emplace_back(L"EnabledState", WmiValue::Int32(2));
    }
    AddPool(v2, host.Settings().defaultTemplatesLast, L"Msvm_ResourcePool", id.c_str(),
            pool.resourceType, pool.subType, pool.settingsClass,
            {{L"Default", pool.name, 0, 0, defaults},
             {L"Minimum", pool.name, 3, 1, defaults},
             {L"Maximum", pool.name, 3, 2, defaults},
             {L"Increment", pool.name, 3, 3, defaults}});
  }
}

bool SupportsVersion(std::wstring_view version) {
  return std::find(std::begin(kVersions), std::end(kVersions), version) != std::end(kVersions);
}

void AddCapabilities(HostCore& host) {
  Repository& v2 = host.Namespace(kVirtualizationNamespace);
  const std::wstring& name = host.Settings().name;

  const auto management =
      v2.Find(FormatRelativePath(L"Msvm_VirtualSystemManagementService",
                                 {{L"CreationClassName", L"Msvm_VirtualSystemManagementService"},
                                  {L"Name", L"vmms"},
                                  {L"SystemCreationClassName", L"Msvm_ComputerSystem"},
                                  {L"SystemName", name}}));
  const auto capabilities = v2.Create(L"Msvm_VirtualSystemManagementCapabilities",
                                      {{L"InstanceID", WmiValue::String(L"Microsoft:" + name)}});
  if (management) {
    v2.Associate(L"Msvm_ElementCapabilities", L"ManagedElement", *management, L"Capabilities",
                 capabilities);
  }
  for (const wchar_t* version : kVersions) {
    const auto entry = v2.Create(
        L"Msvm_VirtualSystemSettingData",
        {{L"InstanceID", WmiValue::String(std::wstring(L"Microsoft:Version\\") + version)},
         {L"ElementName", WmiValue::String(version)},
         {L"Version", WmiValue::String(version)}});
    LinkTemplate(v2, capabilities, entry, 3, 0);
  }
  const auto defaults =
      v2.Create(L"Msvm_VirtualSystemSettingData",
                {{L"InstanceID", WmiValue::String(L"Microsoft:Definition\\Default")},
                 {L"Version", WmiValue::String(L"10.0")}});
  LinkTemplate(v2, capabilities, defaults, 0, 0);

  const bool defaultLast = host.Settings().defaultTemplatesLast;
  AddPool(v2, defaultLast, L"Msvm_ProcessorPool", kProcessorPool, 3, kProcessorSubType,
          L"Msvm_ProcessorSettingData",
          {{L"Default",
            L"Processor Default Settings",
            0,
            0,
            {{L"VirtualQuantity", WmiValue::UInt64(1)},
             {L"Limit", WmiValue::UInt64(100000)},
             {L"Reservation", WmiValue::UInt64(0)},
             {L"Weight", WmiValue::Int32(100)}}},
           {L"Minimum",
            L"Processor Minimum Settings",
            3,
            1,
            {{L"VirtualQuantity", WmiValue::UInt64(1)}}},
           {L"Maximum",
            L"Processor Maximum Settings",
            3,
            2,
            {{L"VirtualQuantity", WmiValue::UInt64(240)},
             {L"MaxProcessorsPerNumaNode", WmiValue::UInt64(64)}}},
           {L"Increment",
            L"Processor Incremental Settings",
            3,
            3,
            {{L"VirtualQuantity", WmiValue::UInt64(1)}}}});
  AddPool(
      v2, defaultLast, L"Msvm_ResourcePool", kMemoryPool, 4, kMemorySubType,
      L"Msvm_MemorySettingData",
      {{L"Default",
        L"Memory Default Settings",
        0,
        0,
        {{L"VirtualQuantity", WmiValue::UInt64(1024)}, {L"Limit", WmiValue::UInt64(1048576)}}},
       {L"Minimum", L"Memory Minimum Settings", 3, 1, {{L"VirtualQuantity", WmiValue::UInt64(32)}}},
       {L"Maximum",
        L"Memory Maximum Settings",
        3,
        2,
        {{L"VirtualQuantity", WmiValue::UInt64(12582912)},
         {L"MaxMemoryBlocksPerNumaNode", WmiValue::UInt64(262144)}}},
       {L"Increment",
        L"Memory Incremental Settings",
        3,
        3,
        {{L"VirtualQuantity", WmiValue::UInt64(2)}}}});
}

}  // namespace quorvane::sim
