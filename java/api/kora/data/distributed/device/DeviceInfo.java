package kora.data.distributed.device;

import java.util.Objects;

/** Names and describes a device. Immutable. */
public final class DeviceInfo {
  private final String id;
  private final String name;
  private final String type;

  /**
   * Describes a device.
   *
   * @param id what tells the device from all others
   * @param name the name that its owner gave it
   * @param type what kind of device it is
   */
  public DeviceInfo(String id, String name, String type) {
    this.id = id;
    this.name = name;
    this.type = type;
  }

  /**
   * What tells the device from all others.
   *
   * @return the identifier
   */
  public String getId() {
    return id;
  }

  /**
   * The name that the owner gave the device.
   *
   * @return the name
   */
  public String getName() {
    return name;
  }

  /**
   * What kind of device it is.
   *
   * @return the type
   */
  public String getType() {
    return type;
  }

  @Override
  public boolean equals(Object other) {
    return other instanceof DeviceInfo
        && Objects.equals(id, ((DeviceInfo) other).id)
        && Objects.equals(name, ((DeviceInfo) other).name)
        && Objects.equals(type, ((DeviceInfo) other).type);
  }

  @Override
  public int hashCode() {
    return Objects.hash(id, name, type);
  }

  @Override
  public String toString() {
    return name + " (" + type + ", " + id + ")";
  }
}
