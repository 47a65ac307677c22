/* A UIO device over plain memory, called as the card's is. Its interrupt is a line of its own, which the
 * file `raise` of the platform device raises: the kernel counts it and hands it on as any other. */
#include <linux/interrupt.h>
#include <linux/irq.h>
#include <linux/module.h>
#include <linux/platform_device.h>
#include <linux/uio_driver.h>
#include <linux/vmalloc.h>

#define BAR_BYTES (64UL << 20)

static irqreturn_t serve_interrupt(int irq, struct uio_info *info)
{
    return IRQ_HANDLED; /* which makes UIO wake its readers */
}

static struct uio_info info = {.name = "ZYNQFPGA", .version = "1.0", .handler = serve_interrupt};

static ssize_t raise_store(struct device *dev, struct device_attribute *attribute, const char *text,
                           size_t length)
{
    unsigned long flags;

    local_irq_save(flags);
    generic_handle_irq(info.irq);
    local_irq_restore(flags);
    return length;
}
static DEVICE_ATTR_WO(raise);

/* What fails here ends the machine: nothing is taken back. */
static int __init uio_memory_start(void)
{
    struct platform_device *device =
        platform_device_register_simple("uio_memory", PLATFORM_DEVID_NONE, NULL, 0);
    void *memory = vmalloc_user(BAR_BYTES);
    int irq = irq_alloc_desc(NUMA_NO_NODE);
    int error;

    if (IS_ERR(device) || !memory || irq < 0)
        return -ENOMEM;
    irq_set_chip_and_handler(irq, &dummy_irq_chip, handle_simple_irq);
    irq_clear_status_flags(irq, IRQ_NOREQUEST);
    info.irq = irq;
    info.mem[0].name = "bar0";
    info.mem[0].addr = (phys_addr_t)(unsigned long)memory;
    info.mem[0].size = BAR_BYTES;
    info.mem[0].memtype = UIO_MEM_VIRTUAL;
    error = uio_register_device(&device->dev, &info);
    return error ? error : device_create_file(&device->dev, &dev_attr_raise);
}
module_init(uio_memory_start);

/* There is no way to unload it: the machine that it is for ends instead. */
MODULE_LICENSE("GPL");
MODULE_DESCRIPTION("A UIO device over plain memory, for tests");
