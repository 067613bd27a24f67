package kora.data.distributed.common;

import java.util.List;
import java.util.Objects;
import java.util.stream.Collectors;

/**
 * What one commit changed: a single write, a batch or a transaction. A key is in one of the three lists at
 * most. Immutable.
 */
public final class ChangeNotification {
  // Native code makes notifications through the empty constructor and sets the fields by name. It leaves a
  // list null, or an element of it, when it could not build one.
  private List<Entry> insertEntries;
  private List<Entry> updateEntries;
  private List<Entry> deleteEntries;
  private String deviceId;

  private ChangeNotification() {}

  /**
   * The entries whose keys are new.
   *
   * @return a list that can't be changed
   */
  public List<Entry> getInsertEntries() {
    return present(insertEntries);
  }

  /**
   * The entries whose values replaced others.
   *
   * @return a list that can't be changed, with the new values
   */
  public List<Entry> getUpdateEntries() {
    return present(updateEntries);
  }

  /**
   * The entries that were deleted.
   *
   * @return a list that can't be changed, with the last values
   */
  public List<Entry> getDeleteEntries() {
    return present(deleteEntries);
  }

  /**
   * The device on which the change was made.
   *
   * @return the identifier of the device; empty if it is not known
   */
  public String getDeviceId() {
    return Objects.requireNonNullElse(deviceId, "");
  }

  @Override
  public String toString() {
    return "inserted " + getInsertEntries() + ", updated " + getUpdateEntries() + ", deleted "
        + getDeleteEntries() + " by " + getDeviceId();
  }

  private static List<Entry> present(List<Entry> entries) {
    return entries == null
        ? List.of()
        : entries.stream().filter(Objects::nonNull).collect(Collectors.toUnmodifiableList());
  }
}
